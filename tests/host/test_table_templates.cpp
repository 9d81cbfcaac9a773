// The template store against the tables that use it: a column without a rule, or a rule without a column, is a slip in
// one of the two.
#include <doctest/doctest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/template.h"

using namespace vek;

namespace {

// What the procedure hands over: each template with the columns of the tables that it is for, or the column that tells
// how they look where their names depend on the model; and the header keys that its texts may use.
struct Use {
    std::string_view path, columns, keys;
};
constexpr Use uses[] = {
    {"Drim.VEK.NObs", "Label Value", ""},
    {"DRIM.VEK.ClassLevels", "Class Levels Values", "vwidth"},
    {"DRIM.VEK.DependentInfo", "Group Obs DependentVariables", ""},
    {"DRIM.VEK.MatrixRepresentation", "Effect Representation Control", "hdep"},
    {"Drim.VEK.XPX", "Row", ""},
    {"DRIM.VEK.Tolerances", "Variable TypeITolerance TypeIITolerance", "hdep"},
    {"drim.VEK.GEstFunc", "Effect Coefficients Control", "h1space absorb max_cwidth"},
    {"drim.VEK.GAliasing", "Alias", "h1space absorb"},
    {"drim.VEK.EstFunc", "Effect coefficients Control", "type h1space absorb max_cwidth coefs coefe"},
    {"drim.VEK.Aliasing", "Effect Alias Control", "type h1space absorb max_awidth"},
    {"drim.VEK.ContrastCoef", "Contrast Effect Control row", "conname"},
    {"drim.VEK.OverallANOVA", "Source DF SS MS FValue ProbF", ""},
    {"drim.VEK.FitStatistics", "RSquare CV RootMSE DepMean", "yname"},
    {"drim.VEK.Tests", "HypothesisType ErrorType Error Source DF Other SS MS FValue ProbF ProbFGG ProbFHF",
     "sstype ehead"},
    {"drim.VEK.Contrasts", "HypothesisType ErrorType Error Source DF Other SS MS FValue ProbF ProbFGG ProbFHF",
     "sstype ehead"},
    {"drim.VEK.Estimates", "Parameter Estimate Biased StdErr tValue Probt LowerCL UpperCL ExpectedValue", "confidence"},
    {"drim.VEK.Predicted", "Observation Biased ID Observed Predicted LowerCL Residual UpperCL",
     "confidence type hid idwidth"},
    {"drim.VEK.PInfo", "Label Value", ""},
    {"drim.VEK.Means", "level N SumWgt mean SD", "cname hvar vars vare"},
    {"drim.VEK.HoVTest", "Method Source DF SS MS FValue ProbF", "h1text h2text"},
    {"drim.VEK.Bartlett", "Source DF ChiSq ProbChiSq", "h1text"},
    {"drim.VEK.Welch", "Source DF FValue ProbF", "htext"},
    {"drim.VEK.SquashFact", "Label Value", ""},
    {"drim.VEK.Range", "Row", ""},
    {"drim.VEK.MCLines", "LINE Mean N Level Eq", "comp hlevel spans spane"},
    {"drim.VEK.MCMeans", "Level N LowerCL Mean UpperCL", "type simultaneous hlevel confidence"},
    {"drim.VEK.MCPairs", "Comparison LowerCL Difference UpperCL Significance", "hsig cname confidence simultaneous"},
    {"DRIM.VEK.LSMeanCoef", "Effect coefficient", "efname hcoeffi spans"},
    {"drim.VEK.LSMeans", "Level LSMean StdErr Probt tDiff ProbtDiff LSMeanNumber",
     "yname printh0 hcdiff probtdiffhead cdiffs"},
    {"drim.VEK.PDiff", "Row", ""},
    {"drim.VEK.LSMSlice", "Variable DF SS MS FValue ProbF", "ef1name ef2name yname hvar"},
    {"drim.VEK.LSMeanCL", "var LowerCL LSMean UpperCL", "yname confidence hvar"},
    {"drim.VEK.LSMEanDiffCL", "i j LowerCL Difference UpperCL", "efname confidence type simultaneous hlcl hucl"},
    {"Drim.VEK.Factoid", "Label Value", ""},
    {"Drim.VEK.SimResults", "Method Quantile Alpha LowerCL UpperCL", "alphaval acc halpha"},
    {"Drim.VEK.MANOVATransform", "Row", ""},
    {"Drim.VEK.ErrorSSCP", "Row", "ErrorEffect"},
    {"Drim.VEK.HypothesisSSCP", "Row", ""},
    {"Drim.VEK.StackedMatrix", "Row", ""},
    {"drim.VEK.MultStat", "Error Statistic Value FValue NumDF DenDF ProbF", "dyn_head1 hhead ehead dyn_head4"},
    {"DRIM.VEK.RootsNVectors", "CharRoot Percent vec", "hh he htrans spans"},
    {"drim.VEK.Canonical",
     "Number CanCorr AdjCanCorr StdErr SquCanCorr Eigenvalue Difference Proportion Cumulative LikelihoodRatio FValue "
     "NumDF DenDF ProbF",
     "hhead ehead vhead"},
    {"DRIM.VEK.CanonicalStructure", "Variable can", "spants spante spanbs spanbe spanws spanwe"},
    {"DRIM.VEK.CanCoef", "Variable can", "spanss spanse spanrs spanre"},
    {"Drim.VEK.RepeatedLevelInfo", "DependentVariable varidx", ""},
    {"drim.VEK.Sphericity", "Source DF Mauchly ChiSq ProbChiSq", ""},
    {"Drim.VEK.QForm", "Row", ""},
    {"Drim.VEK.ExpectedMeanSquares", "Source ExpectedMeanSquare", "newpage ts hsource type swidth ewidth"},
    {"DRIM.VEK.RTests", "HypothesisType Control Source DF Other SS MS FValue ProbF Error", "pNote sstype fError"},
};

std::set<std::string> words(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::set<std::string> result;
    for (std::string word; stream >> word;) result.insert(word);
    return result;
}

// Keys in braces in a text of a template.
void collect_keys(std::string_view text, std::set<std::string>& keys) {
    for (std::size_t open = text.find('{'); open != std::string_view::npos; open = text.find('{')) {
        const std::size_t close = text.find('}', open);
        REQUIRE(close != std::string_view::npos);
        std::string_view key = text.substr(open + 1, close - open - 1);
        if (key.starts_with('?')) key.remove_prefix(1);
        keys.insert(std::string(key));
        text.remove_prefix(close);
    }
}

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

// Text constants of a source that stand directly behind `before`.
std::vector<std::string> literals_behind(const std::string& text, std::string_view before) {
    const std::string opening = std::string(before) + '"';
    std::vector<std::string> found;
    for (std::size_t at = text.find(opening); at != std::string::npos; at = text.find(opening, at)) {
        const std::size_t start = at + opening.size(), end = text.find('"', start);
        if (end == std::string::npos) break;
        found.push_back(text.substr(start, end - start));
        at = end + 1;
    }
    return found;
}

}  // namespace

TEST_CASE("templates: each is for the tables of the list, with a rule for every column and no other") {
    std::vector<std::string> listed, known;
    for (const Use& use : uses) {
        CAPTURE(use.path);
        listed.push_back(lower(use.path));
        const TableTemplate* const rules = find_template(use.path);
        REQUIRE(rules != nullptr);
        std::set<std::string> columns, keys;
        for (const TemplateColumn& column : rules->columns) {
            columns.insert(std::string(column.name));
            collect_keys(column.heading, keys);
            for (const TemplateSpan& span : column.spans) {
                collect_keys(span.text, keys);
                keys.insert(std::string(span.from));
                if (!span.to.empty()) keys.insert(std::string(span.to));
            }
        }
        CHECK(columns == words(use.columns));
        for (const auto* texts : {&rules->captions, &rules->above, &rules->below}) {
            for (std::string_view text : *texts) collect_keys(text, keys);
        }
        for (const TemplateSpan& span : rules->spans) {
            collect_keys(span.text, keys);
            CHECK(rules->column(span.from) != nullptr);
            if (!span.to.empty()) CHECK(rules->column(span.to) != nullptr);
        }
        const std::set<std::string> offered = words(use.keys);
        for (const std::string& key : keys) {
            CAPTURE(key);
            CHECK((key == "label" || key == "heading" || offered.contains(key)));
        }
    }
    for (std::string_view path : template_paths()) known.push_back(lower(path));
    std::sort(listed.begin(), listed.end());
    std::sort(known.begin(), known.end());
    CHECK(listed == known);
}

TEST_CASE("templates: a slip is found with its line") {
    struct Slip {
        std::string_view text, line;
    };
    constexpr Slip slips[] = {
        {"  caption \"no colon\"\n", "caption \"no colon\""},
        {"  Source heading Source\n", "Source heading Source"},
        {"  A heading \"a\"\n  SS  witdh 12\n", "SS  witdh 12"},
        {"  SS  4 decimal\n", "SS  4 decimal"},
        {"  SS  heading \"open\n", "SS  heading \"open"},
        {"  A left\n  a right\n", "a right"},
        {"  above: \"text\" more\n", "above: \"text\" more"},
        {"  X missing I \"Infty\"\n", "X missing I \"Infty\""},
        {"  span: \"text\" LowerCL\n", "span: \"text\" LowerCL"},
    };
    for (const Slip& slip : slips) {
        CAPTURE(slip.line);
        TableTemplate result;
        std::string fault;
        CHECK_FALSE(read_template(slip.text, &result, &fault));
        CHECK(fault.ends_with(slip.line));
    }
    TableTemplate result;
    std::string fault;
    CHECK(read_template("# remark\n\n  Mean heading \"a/b\", right, width 9, 2 decimals, beside\r\n", &result, &fault));
}

TEST_CASE("templates: every path and column that the procedure's rooms write is in the store") {
    const std::filesystem::path source = std::filesystem::path(VEK_TESTS_DIR) / ".." / "src";
    std::set<std::string> known;
    for (std::string_view path : template_paths()) {
        for (const TemplateColumn& column : find_template(path)->columns) known.insert(std::string(column.name));
    }
    int found = 0;
    for (const char* room : {"frame", "model", "core", "means", "lsmeans", "multivariate", "repeated", "random"}) {
        if (!std::filesystem::is_directory(source / room)) continue;
        for (const auto& entry : std::filesystem::directory_iterator(source / room)) {
            if (entry.path().extension() != ".cpp") continue;
            std::ifstream stream(entry.path());
            const std::string text(std::istreambuf_iterator<char>(stream), {});
            CAPTURE(entry.path().filename().string());
            for (const std::string& path : literals_behind(text, "")) {
                if (!lower(path).starts_with("drim.")) continue;
                CAPTURE(path);
                ++found;
                CHECK(find_template(path) != nullptr);
            }
            for (const std::string& name : literals_behind(text, ".like = ")) {
                CAPTURE(name);
                CHECK(known.contains(name));
            }
            // A column may have a name of its own when `like` tells how it looks.
            if (text.find(".like") != std::string::npos) continue;
            for (const char* call : {".text(", ".buffer(", ".character(", ".integer(", ".degrees(", ".number("}) {
                for (const std::string& name : literals_behind(text, call)) {
                    CAPTURE(name);
                    ++found;
                    CHECK(known.contains(name));
                }
            }
        }
    }
    CHECK(found > 0);
}
