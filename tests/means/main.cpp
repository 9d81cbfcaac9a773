// The test program of means/: test_means [doctest options] [NAME | NAME:LINE].
#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include "support/truth_table.h"

int main(int argc, char** argv) { return vek::test::run_tests(argc, argv); }
