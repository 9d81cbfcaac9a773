// The manual's reference of statements is the tables' own. With VEK_UPDATE_DOCS=1 in the environment it is rewritten.
#include <doctest/doctest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "host/statement/reference_page.h"

using namespace vek;

TEST_CASE("docs/statements.md lists every statement, option and limit as the tables have them") {
    const std::string path = std::string(VEK_TESTS_DIR) + "/../docs/statements.md";
    std::stringstream stream;
    stream << std::ifstream(path, std::ios::binary).rdbuf();
    const std::string page = stream.str();
    const std::size_t begin = page.find('\n', page.find("<!-- generated")) + 1;
    const std::size_t end = page.find("<!-- end of");
    REQUIRE(begin != 0);
    REQUIRE(end != std::string::npos);
    const std::string wanted = "\n" + statement_reference() + "\n";
    if (std::getenv("VEK_UPDATE_DOCS") != nullptr) {
        std::ofstream(path, std::ios::binary) << page.substr(0, begin) << wanted << page.substr(end);
        return;
    }
    CHECK_MESSAGE(page.substr(begin, end - begin) == wanted,
                  "the page is older than the tables: run the tests once with VEK_UPDATE_DOCS=1");
}
