// The tool's commands; each prints its answer or throws.
#pragma once

#include <string>
#include <vector>

namespace vtdl::host {

void ListSources();
void ListParameters(const std::string& source);

struct GetOptions {
    std::string source;
    std::vector<std::string> assignments;
    std::string format = "table";
    std::string outputFile;  // empty = standard output
    bool isProgressWanted = false;
    bool isProgressUnwanted = false;
};

void Get(const GetOptions& options);

}  // namespace vtdl::host
