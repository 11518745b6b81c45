#include "support/RunTests.h"

int main(int argc, char** argv) { return vtdl::tests::RunTests(argc, argv); }
