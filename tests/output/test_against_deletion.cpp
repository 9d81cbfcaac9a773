// Random weighted and rank-deficient designs: every statistic of the OUTPUT data set against fits without the
// observation, made densely in long double from the texts of the data.
#include <doctest/doctest.h>

#include <cmath>
#include <fstream>
#include <random>
#include <sstream>

#include "numeric/fdist.h"
#include "support/dense_oracle.h"
#include "support/program_support.h"

using namespace vek;
using namespace vek::test;

namespace {

using Vector = std::vector<long double>;

/// A weighted fit by elimination with full pivoting, without some rows.
class DenseFit {
  public:
    std::vector<std::size_t> basis;  ///< columns that the others depend on
    Vector b;                        ///< of the basis
    LongMatrix inverse;              ///< of X'WX of the basis
    long double sse = 0, determinant = 1;
    long double rows = 0;

    static constexpr std::size_t none = ~std::size_t{0};

    /// With the same `columns`, when they are given, although they may be more than the rows determine: `singular`
    /// then.
    DenseFit(const DenseDesign& design, std::size_t without, const std::vector<std::size_t>* columns = nullptr) {
        const std::size_t p = design.x_columns;
        LongMatrix a(p, Vector(p + 1));
        Vector own(p);
        for (std::size_t r = 0; r < design.rows.size(); ++r) {
            if (r == without) continue;
            rows += 1;
            for (std::size_t i = 0; i < p; ++i) {
                for (std::size_t j = 0; j <= p; ++j) {
                    a[i][j] += design.weights[r] * design.rows[r][i] * design.rows[r][j < p ? j : p];
                }
            }
        }
        for (std::size_t i = 0; i < p; ++i) own[i] = a[i][i];
        LongMatrix whole(p, Vector(p));  // becomes the inverse of the basis
        for (std::size_t i = 0; i < p; ++i) whole[i][i] = 1;
        std::vector<bool> used(p);
        for (;;) {
            std::size_t best = none;
            for (std::size_t i = 0; i < p; ++i) {
                if (used[i] || (columns != nullptr && std::count(columns->begin(), columns->end(), i) == 0)) continue;
                if (own[i] <= 0 || a[i][i] <= 1e-11L * own[i]) continue;
                if (best == none || a[i][i] / own[i] > a[best][best] / own[best]) best = i;
            }
            if (best == none) break;
            used[best] = true;
            basis.push_back(best);
            determinant *= a[best][best];
            eliminate(a, whole, best);
        }
        std::sort(basis.begin(), basis.end());
        for (const std::size_t i : basis) {
            b.push_back(a[i][p]);
            inverse.emplace_back();
            for (const std::size_t j : basis) inverse.back().push_back(whole[i][j]);
        }
        for (std::size_t r = 0; r < design.rows.size(); ++r) {
            if (r == without) continue;
            const long double residual = design.rows[r][p] - predicted(design, r);
            sse += design.weights[r] * residual * residual;
        }
    }
    long double predicted(const DenseDesign& design, std::size_t row) const {
        long double sum = 0;
        for (std::size_t k = 0; k < basis.size(); ++k) sum += b[k] * design.rows[row][basis[k]];
        return sum;
    }
    long double variance_factor(const DenseDesign& design, std::size_t row) const {
        long double sum = 0;
        for (std::size_t k = 0; k < basis.size(); ++k) {
            for (std::size_t l = 0; l < basis.size(); ++l) {
                sum += design.rows[row][basis[k]] * inverse[k][l] * design.rows[row][basis[l]];
            }
        }
        return sum;
    }

  private:
    static void eliminate(LongMatrix& a, LongMatrix& whole, std::size_t pivot) {
        const long double d = a[pivot][pivot];
        for (long double& x : a[pivot]) x /= d;
        for (long double& x : whole[pivot]) x /= d;
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (i == pivot) continue;
            const long double factor = a[i][pivot];
            for (std::size_t j = 0; j < a[i].size(); ++j) a[i][j] -= factor * a[pivot][j];
            for (std::size_t j = 0; j < whole[i].size(); ++j) whole[i][j] -= factor * whole[pivot][j];
        }
    }
};

TextTable random_table(std::mt19937_64& random, int rows) {
    const auto uniform = [&] { return static_cast<double>(random() >> 11) * 0x1p-53; };
    const auto pick = [&](std::initializer_list<const char*> values) {
        return std::string(values.begin()[random() % values.size()]);
    };
    const auto decimal = [&](double scale) {
        std::ostringstream text;
        text << std::fixed;
        text.precision(3);
        text << scale * (uniform() - 0.4);
        return text.str();
    };
    TextTable table;
    table.names = {"A", "B", "X", "Z", "W", "Y", "Y2"};
    for (int r = 0; r < rows; ++r) {
        std::vector<std::string> row = {pick({"u", "v", "w"}),
                                        pick({"1", "2", "3", "4"}),
                                        decimal(4),
                                        decimal(30),
                                        pick({"0.5", "1", "2", "1.25"}),
                                        decimal(50),
                                        decimal(9)};
        if (random() % 12 == 0) row[random() % row.size()] = ".";
        if (random() % 25 == 0) row[4] = "0";
        table.rows.push_back(row);
    }
    return table;
}

const std::vector<std::string> statistics = {"P",     "R",        "LCLM",   "UCLM",    "LCL",   "UCL",
                                             "STDP",  "STDR",     "STDI",   "STUDENT", "COOKD", "H",
                                             "PRESS", "RSTUDENT", "DFFITS", "COVRATIO"};

std::string program_of(const ModelText& model, const std::string& folder) {
    const auto list = [](const std::vector<std::string>& names) {
        std::string text;
        for (const std::string& name : names) text += name + " ";
        return text;
    };
    std::string program = "PROC VEK DATA='" + folder + "/in.csv' NOPRINT; CLASS A B;";
    if (!model.weight.empty()) program += " WEIGHT " + model.weight + ";";
    program += " MODEL " + list(model.dependents) + "= " + list(model.effects) + (model.noint ? "/ NOINT" : "") + ";";
    program += " OUTPUT OUT='" + folder + "/out.csv'";
    for (const std::string& statistic : statistics) {
        program += " " + statistic + "=";
        for (const std::string& y : model.dependents) program += statistic + "_" + y + " ";
    }
    return program + "; RUN;";
}

/// The new data set; empty fields read as ".".
TextTable read_table(const std::string& path) {
    TextTable table;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::vector<std::string> row;
        std::istringstream fields(line + ",");
        for (std::string field; std::getline(fields, field, ',');) row.push_back(field.empty() ? "." : field);
        if (table.names.empty()) {
            table.names = row;
        } else {
            table.rows.push_back(row);
        }
    }
    return table;
}

/// Holds the statistics of one dependent variable against the dense fits.
struct Comparison {
    const TextTable& out;
    std::string y;
    long double scale;  ///< of the dependent variable
    std::string wrong;  ///< the first difference
    int numbers = 0;

    double given(const std::string& statistic, std::size_t row) const {
        return out.number(row, out.column(statistic + "_" + y));
    }
    void hold(const std::string& statistic, std::size_t row, long double expected, long double unit) {
        ++numbers;
        const double value = given(statistic, row);
        if (!wzmis(value) && std::abs(value - expected) <= 1e-9L * (std::abs(expected) + unit)) return;
        if (!wrong.empty()) return;
        std::ostringstream text;
        text.precision(17);
        text << statistic << " in row " << row + 1 << ": " << value << ", by dense fits " << expected;
        wrong = text.str();
    }
    void hold_missing(const std::string& statistic, std::size_t row) {
        ++numbers;
        if (!wzmis(given(statistic, row)) && wrong.empty())
            wrong = statistic + " is there in row " + std::to_string(row + 1);
    }
};

void compare_row(Comparison& c, const DenseDesign& design, const DenseFit& fit, std::size_t i, long double s2,
                 long double edf) {
    const std::size_t row = design.source[i], p = fit.basis.size();
    const long double w = design.weights[i], yhat = fit.predicted(design, i), xgx = fit.variance_factor(design, i);
    const long double residual = design.rows[i][design.x_columns] - yhat, h = w * xgx, s = std::sqrt(s2);
    double t = 0;
    REQUIRE(zqt(0.975, static_cast<double>(edf), t) == 0);
    c.hold("P", row, yhat, c.scale);
    c.hold("R", row, residual, c.scale);
    c.hold("H", row, h, 1);
    c.hold("STDP", row, s * std::sqrt(xgx), s);
    c.hold("LCLM", row, yhat - t * s * std::sqrt(xgx), c.scale);
    c.hold("UCLM", row, yhat + t * s * std::sqrt(xgx), c.scale);
    c.hold("STDI", row, s * std::sqrt(xgx + 1 / w), s);
    c.hold("LCL", row, yhat - t * s * std::sqrt(xgx + 1 / w), c.scale);
    c.hold("UCL", row, yhat + t * s * std::sqrt(xgx + 1 / w), c.scale);
    if (h > 1 - 1e-7L) {
        for (const char* statistic : {"PRESS", "STDR", "STUDENT", "COOKD", "RSTUDENT", "DFFITS", "COVRATIO"}) {
            if (h > 1 - 1e-13L) c.hold_missing(statistic, row);
        }
        return;
    }
    const DenseFit without(design, i, &fit.basis);
    const long double press = design.rows[i][design.x_columns] - without.predicted(design, i);
    long double distance = 0;
    for (std::size_t j = 0; j < design.rows.size(); ++j) {
        const long double change = fit.predicted(design, j) - without.predicted(design, j);
        distance += design.weights[j] * change * change;
    }
    const long double stdr = std::sqrt(s2 / w - s2 * xgx), unit = c.scale / (1 - h);
    c.hold("PRESS", row, press, unit);
    c.hold("STDR", row, stdr, s);
    c.hold("STUDENT", row, residual / stdr, 1 / (1 - h));
    c.hold("COOKD", row, distance / (static_cast<long double>(p) * s2), 1 / (1 - h));
    if (edf < 2) return;
    const long double s2i = without.sse / (edf - 1), si = std::sqrt(s2i);
    if (s2i < 1e-6L * s2) return;  // next to nothing is left: no digits to compare
    const long double magnified = s / si / (1 - h);
    c.hold("RSTUDENT", row, press / (si * std::sqrt(1 / w + without.variance_factor(design, i))), magnified);
    c.hold("DFFITS", row, (yhat - without.predicted(design, i)) / (si * std::sqrt(xgx)), magnified);
    const long double ratio = std::pow(s2i / s2, static_cast<long double>(p));
    c.hold("COVRATIO", row, ratio * fit.determinant / without.determinant, ratio * magnified);
}

}  // namespace

TEST_CASE("OUTPUT of random designs is what deletion of each observation gives") {
    const std::vector<std::string> effects[] = {{"A", "X"},
                                                {"A", "B", "A*B"},
                                                {"X", "Z", "X*Z"},
                                                {"A", "B(A)", "X"},
                                                {"X", "X*X", "A", "X*A"},
                                                {"B", "X(B)"},
                                                {},
                                                {"A", "A*B"},
                                                {"A", "B", "Z", "X*B"}};
    const Folder folder;
    std::mt19937_64 random(5);
    int numbers = 0;
    for (int round = 0; round < 60; ++round) {
        CAPTURE(round);
        const TextTable table = random_table(random, 14 + static_cast<int>(random() % 26));
        ModelText model;
        model.classes = {"A", "B"};
        model.effects = effects[static_cast<std::size_t>(round) % std::size(effects)];
        model.noint = !model.effects.empty() && round % 4 == 3;
        model.dependents = round % 3 == 0 ? std::vector<std::string>{"Y", "Y2"} : std::vector<std::string>{"Y"};
        if (round % 2 == 0) model.weight = "W";
        std::ostringstream csv;
        const auto put = [&](const std::vector<std::string>& row) {
            for (std::size_t c = 0; c < row.size(); ++c) csv << (c > 0 ? "," : "") << row[c];
            csv << '\n';
        };
        put(table.names);
        for (const auto& row : table.rows) put(row);
        folder.write("in.csv", csv.str());
        const ProgramResult result = run_whole(program_of(model, folder.path()));
        REQUIRE(result.errors() == 0);
        const TextTable out = read_table(folder.path() + "/out.csv");
        REQUIRE(out.rows.size() == table.rows.size());
        for (const std::string& y : model.dependents) {
            const DenseDesign design(table, model, {y});
            const DenseFit fit(design, DenseFit::none);
            const long double edf = fit.rows - static_cast<long double>(fit.basis.size());
            if (edf < 1) continue;
            Comparison c{out, y, 10, {}, 0};
            for (std::size_t i = 0; i < design.rows.size(); ++i) compare_row(c, design, fit, i, fit.sse / edf, edf);
            for (std::size_t row = 0; row < table.rows.size(); ++row) {
                if (std::count(design.source.begin(), design.source.end(), row) > 0) continue;
                for (const char* statistic : {"PRESS", "COOKD", "RSTUDENT", "DFFITS", "COVRATIO"})
                    c.hold_missing(statistic, row);
            }
            CHECK(c.wrong == "");
            numbers += c.numbers;
        }
    }
    CHECK(numbers > 15000);
}

TEST_CASE("a dependent variable without an observation has missing statistics, and the others have theirs") {
    const Folder folder;
    // Y2 has no value where X has one; in the second group Y has none either.
    folder.write(
        "in.csv",
        "G,X,Y,Y2\n1,1,3,.\n1,2,5,.\n1,4,8,.\n1,.,6,2\n2,1,.,.\n2,.,2,1\n3,1,1,4\n3,2,2,4\n3,3,4,5\n3,7,6,6\n");
    const ProgramResult result =
        run_whole("PROC VEK DATA='" + folder.path() + "/in.csv' NOPRINT; BY G; MODEL Y Y2 = X; OUTPUT OUT='" +
                  folder.path() + "/out.csv' P=P P2 STDR=S S2 PRESS=D D2; RUN;");
    CHECK(result.errors() == 0);
    const TextTable out = read_table(folder.path() + "/out.csv");
    REQUIRE(out.rows.size() == 10);
    // P stands wherever X does, once there is a fit; the rest needs the observation in it.
    const char* const there[] = {"P S D",          "P S D",          "P S D",         "", "", "", "P S D P2 S2 D2",
                                 "P S D P2 S2 D2", "P S D P2 S2 D2", "P S D P2 S2 D2"};
    for (std::size_t row = 0; row < 10; ++row) {
        CAPTURE(row);
        std::string found;
        for (const char* name : {"P", "S", "D", "P2", "S2", "D2"}) {
            if (out.at(row, out.column(name)) != ".") found += (found.empty() ? "" : " ") + std::string(name);
        }
        CHECK(found == there[row]);
    }
}
