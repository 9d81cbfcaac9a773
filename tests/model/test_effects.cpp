// Effects as the model numbers them: level sets and tables that they share, the intercept, names of ABSORB variables,
// containment, and the layout of the observation record.
#include <array>

#include "model/zlst.h"
#include "support/model_step.h"

using namespace vek;
using namespace vek::test;

namespace {

const TextTable small(R"(
    a b c d x z y
    1 1 1 1 1 2 5
    2 2 2 2 3 4 6
)");

ModelText model(std::vector<std::string> effects) {
    return {.classes = {"a", "b", "c", "d"}, .dependents = {"y"}, .effects = std::move(effects)};
}

const EffectMod& mod(const ModelStep& step, int effect) { return *step.zgm.effects[effect]->mod; }

}  // namespace

TEST_CASE("level sets: one for each ordered combination; tables: one for each split into crossed and nested") {
    const ModelStep step(small, model({"a", "b", "a*b", "a(b)", "b*a", "x*a(b)", "a*b*c", "x"}));
    const ModelBlock& zgm = step.zgm;
    struct Expected {
        int effect, levset, table;
    };
    // Class variables have the sets and tables 0 to 3.
    for (const Expected& expected : std::array<Expected, 8>{
             {{1, 0, 0}, {2, 1, 1}, {3, 4, 4}, {4, 4, 5}, {5, 5, 6}, {6, 4, 5}, {7, 6, 7}, {8, -1, -1}}}) {
        CAPTURE(expected.effect);
        CHECK(mod(step, expected.effect).levset == expected.levset);
        CHECK(mod(step, expected.effect).table == expected.table);
    }
    CHECK(zgm.nlevset == 7);
    CHECK(zgm.ntables == 8);
}

TEST_CASE("an effect's continuous value stands at its regressor, or at the next product") {
    const ModelStep step(small, model({"x", "x*x", "z", "x*z*a"}));
    const ModelBlock& zgm = step.zgm;
    CHECK(zgm.nreg == 2);
    CHECK(zgm.nprod == 2);
    CHECK(mod(step, 1).value == zgm.xval);
    CHECK(mod(step, 2).value == zgm.prodval);
    CHECK(mod(step, 3).value == zgm.xval + 1);
    CHECK(mod(step, 4).value == zgm.prodval + 1);
    CHECK(mod(step, 4).nvars == 3);
}

TEST_CASE("intercept: there without NOINT and ABSORB, else entry 0 is empty") {
    const ModelStep plain(small, model({"a"}));
    REQUIRE(plain.zgm.effects[0] != nullptr);
    CHECK(plain.zgm.effects[0]->text() == "Intercept");
    CHECK(plain.zgm.effects[1]->number == 1);
}

TEST_CASE("intercept: left out by NOINT and by ABSORB, with a model record all the same") {
    ModelText noint = model({"a"});
    noint.noint = true;
    const ModelStep step(small, noint);
    CHECK(step.zgm.effects[0] == nullptr);
    CHECK(step.zgm.modrecs[0] != nullptr);
}

TEST_CASE("an intercept in the chain leaves it, or leads it, and the others keep their order") {
    ModelStep step(small, model({"a", "b"}));
    Effect* intercept = int_ef_add();
    Effect* a = step.zgm.effects[1];
    intercept->next = a->next;
    a->next = intercept;
    CHECK(remove_int(step.zgm) == intercept);
    CHECK(a->next == step.zgm.effects[2]);
    intercept->next = step.zgm.efhead;
    step.zgm.efhead = intercept;
    CHECK(remove_int(step.zgm) == intercept);
    CHECK(step.zgm.efhead == intercept);
    CHECK(intercept->next == a);
}

TEST_CASE("names of ABSORB variables show what they are nested in, and end in a mark when they are too long") {
    const TextTable named("a longer evenlonger y\n1 1 1 1\n");
    ModelText text{.dependents = {"y"}, .absorb = {"a", "longer", "evenlonger"}};
    const ModelStep step(named, text);
    CHECK(std::string(step.zgm.absorb[0].name) == "a");
    CHECK(std::string(step.zgm.absorb[1].name) == "longer(a)");
    CHECK(std::string(step.zgm.absorb[2].name) == "evenlonger(a longer)");
    ModelStep other(named, {.dependents = {"y"}});
    ModelBlock& zgm = other.zgm;
    zgm.absvars = array<int>(xmainpool(), 3);
    zgm.nabsorb = 3;
    for (int i = 0; i < 3; ++i) zgm.absvars[i] = i;
    zgminit(zgm, 1, 19);
    CHECK(std::string(zgm.absorb[2].name) == "evenlong...)");
}

TEST_CASE("a variable that is absorbed and a class variable at once is told") {
    ModelText text = model({"a"});
    text.absorb = {"b"};
    const ModelStep step(small, text);
    CHECK(ModelStep::logged(172, 13) == 1);
}

TEST_CASE("level texts longer than 16 are told") {
    const TextTable table("a b y\nabcdefghijklmnopqr x 1\n");
    const ModelStep step(table, {.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a"}});
    CHECK(ModelStep::logged(172, 14) == 1);
}

TEST_CASE("record: values begin at a multiple of 8, and FREQ or WEIGHT add two of them") {
    struct Layout {
        std::vector<std::string> effects, absorb;
        std::string freq;
        bool multipass;
        int values, length;
    };
    // type and level numbers: 2 bytes each; a counter of 4 bytes for each ABSORB variable; 8 for each value
    for (const Layout& l : {Layout{{"a"}, {}, "", false, 16, 24}, Layout{{"a", "x", "x*z"}, {}, "", false, 16, 48},
                            Layout{{"a", "x"}, {}, "z", false, 16, 48}, Layout{{"a"}, {"d", "c"}, "", false, 24, 32},
                            Layout{{"a", "x"}, {}, "", true, 16, 16}}) {
        ModelText text = model(l.effects);
        text.absorb = l.absorb;
        text.freq = l.freq;
        text.multipass = l.multipass;
        const ModelStep step(small, text);
        CHECK(step.zgm.valoffset == l.values);
        CHECK(step.zgm.lrecl == l.length);
    }
}

TEST_CASE("lists compare as sets") {
    const std::array<int, 3> abc{1, 2, 3}, cba{3, 2, 1}, abd{1, 2, 4};
    const std::array<int, 2> ab{1, 2};
    CHECK(zlstcmp(abc, cba) == sets_equal);
    CHECK(zlstcmp(ab, abc) == set_within);
    CHECK(zlstcmp(abc, ab) == set_around);
    CHECK(zlstcmp(abc, abd) == sets_differ);
    CHECK(zlstcmp(std::span<const int>{}, ab) == set_within);
    CHECK(zlstmem(abc, 3) == 2);
    CHECK(zlstmem(abc, 4) == 3);
    int from[3], to[3];
    CHECK(zlstjn(abc, from, cba, to) == 3);
    CHECK(from[0] == 0);
    CHECK(to[0] == 2);
    CHECK(zlstjn(ab, nullptr, abd, nullptr) == 2);
}

TEST_CASE("containment: same continuous part, and a strict subset of the class variables, nested or crossed") {
    const ModelStep step(small, model({"a", "a*b", "b(a)", "x", "x*a", "x*a*b", "c", "z*a"}));
    Effect* const* e = step.zgm.effects;
    CHECK(EffectCompare(*e[1], *e[2]) == set_within);
    CHECK(EffectCompare(*e[2], *e[1]) == set_around);
    CHECK(EffectCompare(*e[2], *e[3]) == sets_equal);
    CHECK(EffectCompare(*e[5], *e[6]) == set_within);
    CHECK(EffectCompare(*e[4], *e[5]) == set_within);
    CHECK(EffectCompare(*e[1], *e[5]) == sets_differ);
    CHECK(EffectCompare(*e[1], *e[7]) == sets_differ);
    CHECK(EffectCompare(*e[5], *e[8]) == sets_differ);
    CHECK(EffectCompare(*e[0], *e[1]) == set_within);
}
