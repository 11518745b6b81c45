#pragma once

namespace vtdl::tests {

/// Runs the program's tests with COM and sockets ready. A test that takes longer than a minute ends
/// the program with its name and exit code 42: a hang must not look like a slow machine.
int RunTests(int argc, char** argv);

}  // namespace vtdl::tests
