#include "host/CommandLine.h"

int main(int argc, char** argv) { return qarhost::RunCommandLine(argc, argv, QARHOST_VERSION); }
