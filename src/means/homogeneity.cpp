// homogeneity: runs the chosen tests of equal variances and Welch's analysis over effects and dependent variables; each
// becomes a table and a row of the HOVOUT= data set.
#include "means/homogeneity.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "frame/host_message.h"
#include "frame/table.h"
#include "means/hovtest.h"
#include "means/options.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int test_width = 40;

}  // namespace

/// The open data set of HOVOUT=; lives over passes and BY groups.
struct HomogeneityOutput {
    DataSet* out = nullptr;
    FetchList* fetch = nullptr;  ///< BY variables of the input; null without BY
    Column* columns = nullptr;
    PutList* put = nullptr;
    char *dependent = nullptr, *effect = nullptr;  ///< of the widths of the names
    char test[test_width] = {};
    double modeldf = 0, modelss = 0, errordf = 0, errorss = 0, f = 0, p = 0;
};

namespace {

void fill_padded(char* field, int width, std::string_view text) {
    const auto n = std::min(static_cast<std::size_t>(width), text.size());
    std::fill_n(field, width, ' ');
    std::copy_n(text.begin(), n, field);
}

HomogeneityOutput* open_output(const MainBlock& F, Statement& s) {
    if (s.slot(means::slot_hovout).handle == nullptr) return nullptr;
    if (s.work != nullptr) return static_cast<HomogeneityOutput*>(s.work);
    Pool* pool = xmainpool();
    auto* o = object<HomogeneityOutput>(pool);
    s.work = o;
    o->out = s.slot(means::slot_hovout).handle;
    o->dependent = array<char>(pool, F.ynamew);
    o->effect = array<char>(pool, F.efnamew);
    o->put = xvputi(o->out);
    const auto by = proc().head->slot(proc_by).variables();
    if (!by.empty()) {
        const int n = static_cast<int>(by.size());
        o->fetch = xvgeti(F.zgm.data, n);
        for (int v : by) xvgetd(o->fetch, v);
        xvgete(o->fetch);
        o->columns = array<Column>(pool, n);
        for (int i = 0; i < n; ++i) xvputcv(o->put, o->fetch, i);
    }
    xvputd(o->put, "DEP", VariableType::character, F.ynamew, o->dependent);
    xvputd(o->put, "TEST", VariableType::character, test_width, o->test);
    xvputd(o->put, "EFFECT", VariableType::character, F.efnamew, o->effect);
    const auto number = [&](std::string_view name, const double& value) {
        xvputd(o->put, name, VariableType::numeric, 8, &value);
    };
    number("MODELDF", o->modeldf);
    number("MODELSS", o->modelss);
    number("ERRORDF", o->errordf);
    number("ERRORSS", o->errorss);
    number("F", o->f);
    number("PROBF", o->p);
    xvpute(o->put);
    return o;
}

void write_row(const MainBlock& F, HomogeneityOutput& o, int yindex, const Effect& effect, const std::string& test) {
    fill_padded(o.dependent, F.ynamew, F.ynames[F.zgm.ylist[yindex]]);
    fill_padded(o.effect, F.efnamew, effect.text());
    fill_padded(o.test, test_width, test);
    if (o.fetch != nullptr) {
        // The BY values are those of the group's first row.
        xbyrwnd(F.zgm.data);
        xybget(o.fetch, o.columns);
    }
    xyvput(o.put, 0);
}

std::string test_value(const HovResult& r) {
    char text[test_width + 1];
    switch (r.test) {
        case HovTest::levene:
            std::snprintf(text, sizeof text, "Levene/Type=%d", r.levtype);
            break;
        case HovTest::obrien:
            std::snprintf(text, sizeof text, "OBrien/W=%-6g", r.w);
            break;
        case HovTest::bf:
            return r.bfscaled ? "Brown-Forsythe/Scaled" : "Brown-Forsythe/Unscaled";
        case HovTest::bartlett:
            return "Bartlett";
        case HovTest::mbf:
            return r.otscaled ? "OBrien-Tobias/Scaled" : "OBrien-Tobias/Unscaled";
    }
    return text;
}

struct TestTexts {
    const char* method;
    std::string label, caption, response;
};

TestTexts test_texts(const HovResult& r, const std::string& y) {
    switch (r.test) {
        case HovTest::levene:
            return {"LV", rdvmsg(172, 347), rdvmsg(172, 286, y), r.levtype == 1 ? rdvmsg(172, 301) : rdvmsg(172, 300)};
        case HovTest::obrien:
            return {"OB", rdvmsg(172, 348), rdvmsg(172, 287, y), rdvmsg(172, 302, r.w)};
        case HovTest::bf:
            return {"BF", rdvmsg(172, 349), rdvmsg(172, 288, y), r.bfscaled ? rdvmsg(172, 305) : rdvmsg(172, 303)};
        case HovTest::bartlett:
            return {"", rdvmsg(172, 351), rdvmsg(172, 296, y), {}};
        case HovTest::mbf:
            return {"HD", rdvmsg(172, 350), rdvmsg(172, 289, y), r.otscaled ? rdvmsg(172, 306) : rdvmsg(172, 304)};
    }
    return {};
}

int source_width(const Effect& effect, const std::string& error) {
    return std::max(effect.namelen, static_cast<int>(error.size()));
}

void print_bartlett(const HovResult& r, const TestTexts& texts, const Effect& effect, HostObject* out) {
    const std::string_view source = effect.text();
    Table t(out, "Bartlett", texts.label);
    t.text("Source", source_width(effect, rdvmsg(172, 128)), source)
        .degrees("DF", r.df1)
        .number("ChiSq", r.ss1, 8, best_decimals - 1)
        .number("ProbChiSq", r.p);
    t.attribute("h1text", texts.caption);
    t.bind("drim.VEK.Bartlett");
    t.row();
    t.end();
}

void print_test(const HovResult& r, const std::string& y, const Effect& effect, HostObject* out) {
    const TestTexts texts = test_texts(r, y);
    if (r.test == HovTest::bartlett) return print_bartlett(r, texts, effect, out);
    const std::string error = rdvmsg(172, 128);
    std::string_view source = effect.text();
    std::int32_t df = r.df1;
    double ss = r.ss1, ms = r.df1 == 0 ? missing : r.ss1 / r.df1, f = r.f, p = r.p;
    Table t(out, "HOVFTest", texts.label);
    t.buffer("Method", 2, texts.method)
        .text("Source", source_width(effect, error), source)
        .degrees("DF", df)
        .number("SS", ss, 8, best_decimals - 1)
        .number("MS", ms, 8, best_decimals - 1)
        .number("FValue", f)
        .number("ProbF", p);
    t.attribute("h1text", texts.caption).attribute("h2text", texts.response);
    t.bind("drim.VEK.HoVTest");
    t.row();
    source = error;
    df = r.df2;
    ss = r.ss2;
    ms = r.df2 == 0 ? missing : r.ss2 / r.df2;
    f = p = vzmissing('_');
    t.row();
    t.end();
}

void print_welch(const WelchResult& r, const std::string& y, const Effect& effect, HostObject* out) {
    const std::string error = rdvmsg(172, 128);
    std::string_view source = effect.text();
    double df = r.df1, f = r.f, p = r.p;
    Table t(out, "Welch", rdvmsg(172, 352));
    t.text("Source", source_width(effect, error), source).number("DF", df).number("FValue", f).number("ProbF", p);
    t.attribute("htext", rdvmsg(172, 290, y));
    t.bind("drim.VEK.Welch");
    t.row();
    source = error;
    df = r.df2;
    f = p = vzmissing('_');
    t.row();
    t.end();
}

std::vector<HovResult> chosen_tests(const Statement& s) {
    HovResult settings;
    if (s.slot(means::slot_levene_type).given()) {
        settings.levtype = static_cast<int>(s.slot(means::slot_levene_type).value);
    }
    if (s.slot(means::slot_w).given()) settings.w = s.slot(means::slot_w).value;
    settings.bfscaled = s.option(means::bf_scale);
    settings.otscaled = s.option(means::mbf_scale);
    struct Choice {
        int option;
        HovTest test;
    };
    constexpr Choice choices[] = {{means::levene, HovTest::levene},
                                  {means::obrien, HovTest::obrien},
                                  {means::bf, HovTest::bf},
                                  {means::bartlett, HovTest::bartlett},
                                  {means::mbf, HovTest::mbf}};
    std::vector<HovResult> tests;
    for (const Choice& c : choices) {
        settings.test = c.test;
        if (s.option(c.option)) tests.push_back(settings);
    }
    settings.test = HovTest::levene;
    if (tests.empty() && s.option(means::hovtest)) tests.push_back(settings);
    return tests;
}

bool asks_for_tests(const Statement& s) {
    return s.option(means::hovtest) || means::OrSFO(s, means::levene, means::bartlett);
}

/// What the tests of one statement share.
struct HomogeneityRun {
    MainBlock& F;
    HomogeneityOutput* output;
    HostObject* out;
    int nvar;
};

void run_test(HomogeneityRun& run, HovResult r, int k, const Effect& effect, const LevelRecords& records) {
    HoVTest(run.F, r, k, effect, records);
    if (HomogeneityOutput* o = run.output; o != nullptr) {
        o->modeldf = r.df1;
        o->modelss = r.ss1;
        o->errordf = r.df2;
        o->errorss = r.ss2;
        o->f = r.f;
        o->p = r.p;
        write_row(run.F, *o, k, effect, test_value(r));
    }
    if (run.out != nullptr) print_test(r, run.F.ynames[run.F.zgm.ylist[k]], effect, run.out);
}

void run_welch(HomogeneityRun& run, int k, const Effect& effect, const LevelRecords& records) {
    const WelchResult r = Welch(run.F, k, effect, records);
    if (HomogeneityOutput* o = run.output; o != nullptr) {
        o->modeldf = r.df1;
        o->errordf = r.df2;
        o->modelss = o->errorss = missing;
        o->f = r.f;
        o->p = r.p;
        write_row(run.F, *o, k, effect, "Welch");
    }
    if (run.out != nullptr) print_welch(r, run.F.ynames[run.F.zgm.ylist[k]], effect, run.out);
}

/// Calls body(effect, records, dependent variable) inside of the folders of each.
template <class Body>
void in_folders(HomogeneityRun& run, const std::vector<MeansEffect>& effects, const Body& body) {
    std::vector<std::byte> buffer;
    for (const MeansEffect& e : effects) {
        const LevelRecords records = read_level_records(run.F, e, run.nvar, buffer);
        Folder effect_folder;
        effect_folder.open(run.out, e.effect->text(), e.effect->text(), {.key = "Effect"});
        for (int k = 0; k < run.F.zgm.nyp; ++k) {
            const char* y = run.F.ynames[run.F.zgm.ylist[k]];
            Folder variable_folder;
            variable_folder.open(run.out, y, y, {.key = "Dependent", .width = run.F.ynamew});
            body(*e.effect, records, k);
            variable_folder.close();
        }
        effect_folder.close();
    }
}

}  // namespace

bool wants_homogeneity(const MainBlock& F, const Statement& s) {
    if (!asks_for_tests(s) && !s.option(means::welch)) return false;
    if (F.zgm.neff < 2 && F.zgm.nwgt == 0 && F.zgm.nabsorb < 1) return true;
    xpmlog(172, 285);
    return false;
}

void print_homogeneity(MainBlock& F, Statement& s, const std::vector<MeansEffect>& effects, HostObject* out) {
    HomogeneityRun run{F, open_output(F, s), out, means_variables(F, s)};
    if (const std::vector<HovResult> tests = chosen_tests(s); !tests.empty()) {
        in_folders(run, effects, [&](const Effect& effect, const LevelRecords& records, int k) {
            for (const HovResult& r : tests) run_test(run, r, k, effect, records);
        });
    }
    if (s.option(means::welch)) {
        in_folders(run, effects, [&](const Effect& effect, const LevelRecords& records, int k) {
            run_welch(run, k, effect, records);
        });
    }
}

LevelRecords read_level_records(const MainBlock& F, const MeansEffect& effect, int nvar,
                                std::vector<std::byte>& buffer) {
    LevelRecords records{.data = nullptr, .count = effect.levels, .nvar = nvar};
    buffer.resize(static_cast<std::size_t>(records.count * records.length()));
    records.data = buffer.data();
    xcpntd(F.ufile2, effect.position);
    if (xcread(F.ufile2, buffer.data(), static_cast<std::int64_t>(buffer.size())) != 0) {
        xpmlog(172, 101);
        xexit(1020, 1003);
    }
    return records;
}

void close_means_output(Statement* chain) {
    for (Statement* s = chain; s != nullptr; s = s->next) {
        if (!s->is("MEA") || s->work == nullptr) continue;
        auto* o = static_cast<HomogeneityOutput*>(s->work);
        xvputt(o->put);
        xvgett(o->fetch);
        xoclose(o->out);
        xomsg(o->out);
        s->work = nullptr;
    }
}

}  // namespace vek
