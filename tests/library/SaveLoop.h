#pragma once

namespace vtdl::tests {

/// Saves two contents to the file alternately until the process is ended from outside.
int RunSaveLoop(const char* fileName);

}  // namespace vtdl::tests
