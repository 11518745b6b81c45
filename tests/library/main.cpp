#include <cstring>

#include "SaveLoop.h"
#include "support/RunTests.h"

// The tests of interrupted saving start this program again as the one that is interrupted.
int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--save-loop") == 0)
        return vtdl::tests::RunSaveLoop(argv[2]);
    return vtdl::tests::RunTests(argc, argv);
}
