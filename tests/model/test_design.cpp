// The layout of X: order of columns, levels without observations of the pass, and the two ways of ordering
// combinations.
#include <random>

#include "support/model_step.h"

using namespace vek;
using namespace vek::test;

namespace {

const TextTable two_way(R"(
    a b x y
    2 v 1 10
    1 u 2 11
    10 v 3 12
    2 u 4 13
    1 v 5 14
    10 u 6 15
)");

}  // namespace

TEST_CASE("crossed: the last variable runs fastest; nested: the nesting variable is the slowest") {
    ModelStep step(two_way, {.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a", "b", "a*b", "a(b)", "b*a"}});
    step.lay_out();
    CHECK(step.columns(1) == "1 2 10");
    CHECK(step.columns(2) == "u v");
    CHECK(step.columns(3) == "1:u 1:v 2:u 2:v 10:u 10:v");
    CHECK(step.columns(4) == "1:u 2:u 10:u 1:v 2:v 10:v");
    CHECK(step.columns(5) == "u:1 u:2 u:10 v:1 v:2 v:10");
}

TEST_CASE("layout of a mixed model as a trace prints it") {
    ModelStep step(two_way, {.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a", "b", "x", "a*b", "x*b"}});
    step.lay_out();
    CHECK(step.layout() ==
          "columns 15, with y 16; intercept in column 0\n"
          "effect kind first count table contained in\n"
          "a class 1 3 0 a*b\n"
          "b class 4 2 1 a*b\n"
          "x continuous 6 1 -1 x*b\n"
          "a*b class 7 6 2\n"
          "x*b mixed 13 2 1\n");
}

TEST_CASE("a model without intercept begins in column 0") {
    ModelStep step(two_way, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a", "x"}, .noint = true});
    step.lay_out();
    CHECK(step.zgm.ncol == 4);
    CHECK(step.zgm.modrecs[0]->firstcol == -1);
    CHECK(step.zgm.modrecs[0]->ncols == 0);
    CHECK(step.zgm.modrecs[1]->firstcol == 0);
}

TEST_CASE("levels without a usable observation are no columns, and their rows are unusable") {
    const TextTable table(R"(
        a b f y
        1 u 1 10
        2 u 0 11
        3 v 1 .
        4 v 1 13
        2 v -1 14
    )");
    ModelStep step(table, {.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a", "a*b"}, .freq = "f"});
    step.lay_out();
    ModelBlock& zgm = step.zgm;
    CHECK(step.levels(0) == "1 2 3 4");
    CHECK(step.columns(1) == "1 4");
    CHECK(step.columns(2) == "1:u 4:v");
    int usable = 0, unusable = 0;
    for (zgmloli(zgm, 0, false); zgmlolc(zgm); zgmloln(zgm, 0, false))
        ((zgmacc(zgm) & zgmacc_unusable) == 0 ? usable : unusable)++;
    CHECK(usable == 2);
    CHECK(unusable == 3);
}

TEST_CASE("sorting the levels of a combination gives the columns of the array of cells") {
    std::mt19937 random(11);
    for (int trial = 0; trial < 20; ++trial) {
        TextTable table("a b c y\n");
        const int rows = 2 + static_cast<int>(random() % 60);
        for (int r = 0; r < rows; ++r) {
            std::vector<std::string> row;
            for (int v = 0; v < 3; ++v) row.push_back(std::to_string(random() % 6));
            row.push_back(random() % 8 == 0 ? "." : "1");
            table.rows.push_back(row);
        }
        table.rows.push_back({"0", "0", "0", "1"});
        ModelStep step(table,
                       {.classes = {"a", "b", "c"}, .dependents = {"y"}, .effects = {"a*b*c", "a*b(c)", "a(b c)"}});
        step.lay_out();
        ModelBlock& zgm = step.zgm;
        for (int i = 1; i <= 3; ++i) {
            const Effect& e = *zgm.effects[i];
            const LevelList& list = zgm.levlists[e.mod->levset];
            LevelTable cells = zgm.tables[e.mod->table], sorted = cells;
            for (LevelTable* t : {&cells, &sorted}) {
                t->map = array<std::int16_t>(zgm.pool, list.count);
                t->levels = array<std::int16_t>(zgm.pool, list.count * 3);
            }
            const int columns = shuffle(zgm, e, list, cells, zgm.pool);
            REQUIRE(columns == shell(zgm, e, list, sorted, zgm.pool));
            CHECK(columns == e.mod->ncols);
            CHECK(std::equal(cells.map, cells.map + list.count, sorted.map));
            CHECK(std::equal(cells.levels, cells.levels + columns * 3, sorted.levels));
        }
    }
}

TEST_CASE("cell counts: strides of the mixed radix, and -1 above 2147483647") {
    ModelStep step(two_way, {.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a*b", "a(b)"}});
    step.lay_out();
    std::int64_t strides[2];
    CHECK(prod_levels(*step.zgm.effects[1], strides, step.zgm.tables) == 6);
    CHECK(strides[0] == 2);
    CHECK(strides[1] == 1);
    CHECK(prod_levels(*step.zgm.effects[2], strides, step.zgm.tables) == 6);
    CHECK(strides[0] == 1);
    CHECK(strides[1] == 3);
    LevelTable large[2];
    large[0].nlev = 32767;
    large[1].nlev = 32767;
    CHECK(prod_levels(*step.zgm.effects[1], nullptr, large) == 32767LL * 32767);
    int three[3] = {0, 1, 0};
    Effect e;
    e.cross = three;
    e.ncross = 3;
    CHECK(prod_levels(e, nullptr, large) == -1);
}
