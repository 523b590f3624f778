// The main of the test binaries: every test, or the one job a child process
// of a test was started for.
#include "support/ChildProcess.h"

int main(int argc, char** argv) { return vesk::test::runTestsOrChildJob(argc, argv); }
