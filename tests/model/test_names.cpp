// Names of parameters for the tables of matrices: plain where they fit in 12 characters, else coded and explained.
#include "model/vekname.h"
#include "support/model_step.h"
#include "support/table_support.h"

using namespace vek;
using namespace vek::test;

namespace {

std::vector<std::string> names(const ModelBlock& zgm, HostObject* out) {
    std::vector<char[parameter_name_width + 1]> cells(static_cast<std::size_t>(zgm.ncol));
    int widest = 9;
    for (int i = 1; i <= zgm.neff; ++i) widest = std::max(widest, zgm.effects[i]->namelen);
    vekname(zgm, widest, out, cells.data());
    std::vector<std::string> found;
    for (const auto& cell : cells) {
        const std::string text(cell, sizeof cell);
        found.push_back(text.substr(0, text.find_last_not_of(' ') + 1));
    }
    return found;
}

}  // namespace

TEST_CASE("short names show the effect and its levels, and no table is made") {
    const TextTable table("A B X y\n1 u 1 1\n2 v 2 2\n2 w 2 2\n");
    ModelStep step(table, {.classes = {"A", "B"}, .dependents = {"y"}, .effects = {"A", "A*B", "X"}});
    step.lay_out();
    const TableStep report;
    CHECK(names(step.zgm, report.out) ==
          std::vector<std::string>{"Intercept", "A 1", "A 2", "A*B 1 u", "A*B 2 v", "A*B 2 w", "X"});
    CHECK(json_tables().empty());
}

TEST_CASE("coded names count through the model, and the table tells what they mean") {
    const TextTable named("A long_regressor temperature y\nalpha 1 8 1\nbeta 2 9 2\n");
    ModelStep step(
        named,
        {.classes = {"A"}, .dependents = {"y"}, .effects = {"A", "long_regressor", "temperature*A"}, .noint = true});
    step.lay_out();
    const TableStep report;
    CHECK(names(step.zgm, report.out) ==
          std::vector<std::string>{"A alpha", "A beta", "DUMMY001", "DUMMY002", "DUMMY003"});
    const nlohmann::json tables = json_tables();
    REQUIRE(tables.size() == 1);
    CHECK(tables[0]["name"] == "MatrixRepresentation");
    REQUIRE(tables[0]["rows"].size() == 5);
    // names are padded to the widest, 14, and 3 more; then each level after a blank
    CHECK(tables[0]["rows"][0] == nlohmann::json::parse(R"(["A                 alpha", "A alpha", "1"])"));
    CHECK(tables[0]["rows"][1][2] == " ");
    CHECK(tables[0]["rows"][2] == nlohmann::json::parse(R"(["long_regressor", "DUMMY001", "1"])"));
    CHECK(tables[0]["rows"][4] == nlohmann::json::parse(R"(["temperature*A     beta", "DUMMY003", " "])"));
}

TEST_CASE("under NOPRINT the cells stay as they were") {
    const TextTable table("A y\n1 1\n2 2\n");
    ModelStep step(table, {.classes = {"A"}, .dependents = {"y"}, .effects = {"A"}});
    step.lay_out();
    step.zgm.noprint = true;
    std::vector<char[parameter_name_width + 1]> cells(3);
    cells[0][0] = 'x';
    vekname(step.zgm, 9, nullptr, cells.data());
    CHECK(cells[0][0] == 'x');
}
