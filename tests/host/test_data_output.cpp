// Data sets that a run makes: in memory and in files, put in place when their run group ends, and read back.
#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "host/data/memory_table.h"
#include "host/data_support.h"
#include "host/storage/utility_file.h"
#include "support/program_support.h"

using namespace vek;
using namespace vek::test;

namespace {

std::string content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

/// Writes a data set of one number and one text, row by row, and closes it.
void fill(DataSet* data, const std::vector<std::pair<double, std::string>>& rows) {
    double number = 0;
    char text[24];
    PutList* list = xvputi(data);
    CHECK(xvputd(list, "x", VariableType::numeric, 8, &number, "a label") >= 0);
    CHECK(xvputd(list, "_NAME_", VariableType::character, sizeof text, text) >= 0);
    CHECK(xvputd(list, "X", VariableType::numeric, 8, &number) < 0);
    xvpute(list);
    for (const auto& [value, word] : rows) {
        number = value;
        std::fill(std::begin(text), std::end(text), ' ');
        std::copy(word.begin(), word.end(), text);
        xyvput(list, 0);
    }
    xvputt(list);
    xoclose(data);
}

std::vector<std::string> left_in(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST_CASE("a data set in memory is there for the next step, with its labels, and not before its group has ended") {
    DataStep step;
    fill(step.create("only(drop=_name_ rename=(x=y))"), {{1.5, "a"}});
    fill(step.create("Stats"), {{1.5, "a"}, {missing, ""}, {vzmissing('Q'), "c d"}});
    CHECK(step.open("stats") == nullptr);
    host_log().clear();
    CHECK(end_run_group_data(true));
    end_step_data();
    begin_step_data();
    DataSet* data = step.open("stats");
    CHECK(directory(data) == "x _NAME_:$24");
    CHECK(xvname(data, 0).label == "a label");
    CHECK(directory(step.open("only")) == "y");
    CHECK(joined(all_rows(data, true)) == "1:1.5 |a|; 2:. ||; 3:.Q |c d|");
    CHECK(xoinfo(data, 9) == 3);
    CHECK(xoinfo(data, 23) == 1);
    // The data set made last, and its options.
    CHECK(joined(all_rows(open_last({}))) == "1.5 |a|; . ||; .Q |c d|");
    CHECK(joined(all_rows(step.open("STATS(where=(x is missing) rename=(x=y))"))) == ". ||; .Q |c d|");
    CHECK(log_numbers() == "");
    CHECK(step.open("stats(delimiter=';')") == nullptr);
    CHECK(log_numbers() == "910/72@1");
}

TEST_CASE("a failed group leaves none of its data sets, and what stood under their names stays") {
    DataStep step;
    fill(step.create("d"), {{1, "old"}});
    fill(step.create("'" + step.path("d.csv") + "'"), {{1, "old"}});
    CHECK(end_run_group_data(true));
    end_step_data();
    begin_step_data();
    fill(step.create("d"), {{2, "new"}});
    fill(step.create("'" + step.path("d.csv") + "'"), {{2, "new"}});
    fill(step.create("'" + step.path("e.csv") + "'"), {{2, "new"}});
    CHECK(end_run_group_data(false));
    end_step_data();
    begin_step_data();
    CHECK(joined(all_rows(step.open("d"))) == "1 |old|");
    CHECK(content(step.path("d.csv")) == "x,_NAME_\n1,old\n");
    // One that was never closed goes with its step.
    step.create("'" + step.path("f.csv") + "'");
    CHECK(end_run_group_data(true));
    end_step_data();
    CHECK(joined(left_in(step.folder())) == "d.csv");
}

TEST_CASE("files: every double reads back, and texts are quoted where they must be") {
    const double values[] = {0.1,
                             1.0 / 3,
                             1e300,
                             -5e-324,
                             123456789,
                             1e15,
                             1e22,
                             -0.0,
                             2.5e-7,
                             100000,
                             missing,
                             vzmissing('A'),
                             std::numeric_limits<double>::max(),
                             0x1.fffffffffffffp-1,
                             4503599627370497.5};
    std::vector<std::pair<double, std::string>> rows;
    const char* texts[] = {"plain", "a,b", "say \"x\"", "two\nlines", " leading", "tab\there", "semi;colon", "\r"};
    for (std::size_t i = 0; i < std::size(values); ++i) rows.emplace_back(values[i], texts[i % std::size(texts)]);
    for (const char* name : {"o.csv", "o.tsv", "o.csv.gz", "o.tsv.zst", "o.txt"}) {
        for (const char* options : {"", "(delimiter=';' decimal=',')"}) {
            CAPTURE(name);
            CAPTURE(options);
            DataStep step;
            const std::string reference = "'" + step.path(name) + "'" + options;
            fill(step.create(reference), rows);
            REQUIRE(end_run_group_data(true));
            DataSet* data = step.open(reference);
            REQUIRE(data != nullptr);
            REQUIRE(xbynext(data));
            FetchList* list = xvgeti(data, 2);
            xvgetd(list, 0);
            xvgetd(list, 1);
            xvgete(list);
            Column columns[2];
            REQUIRE(xybget(list, columns) == static_cast<int>(rows.size()));
            for (std::size_t r = 0; r < rows.size(); ++r) {
                CHECK(std::memcmp(&columns[0].number[r], &rows[r].first, sizeof(double)) == 0);
                const TextValue& text = columns[1].text[r];
                CHECK(std::string(text.data, static_cast<std::size_t>(text.length)) == rows[r].second);
            }
        }
    }
    const std::pair<const char*, const char*> forms[] = {
        {"", "x,_NAME_\n100000,a\n0.1,b\n,\n.A,d\n"},
        {"(delimiter=';' decimal=',')", "x;_NAME_\n100000;a\n0,1;b\n;\n.A;d\n"},
        {"(decimal=',')", "x,_NAME_\n100000,a\n\"0,1\",b\n,\n.A,d\n"},
        {"(delimiter=' ')", "x _NAME_\n100000 a\n0.1 b\n \n.A d\n"},
    };
    for (const auto& [options, bytes] : forms) {
        CAPTURE(options);
        DataStep step;
        fill(step.create("'" + step.path("o.csv") + "'" + options),
             {{100000, "a"}, {0.1, "b"}, {missing, ""}, {vzmissing('A'), "d"}});
        REQUIRE(end_run_group_data(true));
        CHECK(content(step.path("o.csv")) == bytes);
        // Without DATA= the file made last is read as it was written.
        CHECK(joined(all_rows(open_last({}))) == "100000 |a|; 0.10000000000000001 |b|; . ||; .A |d|");
    }
}

TEST_CASE("copied variables keep name, type, length, label and format, in any order of the input's blocks") {
    DataStep step;
    std::string bytes = "t,x\n";
    for (int i = 0; i < 30000; ++i) bytes += "name" + std::to_string(i) + "," + std::to_string(i) + "\n";
    DataSet* in = step.open_bytes(bytes);
    set_label(in, 1, "the x");
    set_format(in, 1, format_from_text("F", 8, 2));
    DataSet* out = step.create("copy(keep=t x twice drop=unwanted rename=(twice=double))");
    REQUIRE(xbynext(in));
    FetchList* from = xvgeti(in, 2);
    const int x = xvgetd(from, 1), t = xvgetd(from, 0);
    CHECK(xvgetd(from, 1) == x);
    xvgete(from);
    double twice = 0;
    PutList* to = xvputi(out);
    CHECK(xvputcv(to, from, t) >= 0);
    CHECK(xvputcv(to, from, x) >= 0);
    CHECK(xvputcv(to, from, x) < 0);
    CHECK(xvputd(to, "Unwanted", VariableType::numeric, 8, &twice) >= 0);
    CHECK(xvputd(to, "twice", VariableType::numeric, 8, &twice) >= 0);
    xvpute(to);
    Column columns[2];
    while (const int rows = xybget(from, columns)) {
        for (int r = 0; r < rows; ++r) {
            twice = 2 * columns[x].number[r];
            xyvput(to, r);
        }
    }
    xvputt(to);
    xoclose(out);
    xomsg(out);
    REQUIRE(end_run_group_data(true));
    DataSet* copy = step.open("copy");
    CHECK(directory(copy) == "t:$9 x double");
    CHECK(xvname(copy, 1).label == "the x");
    CHECK(xvname(copy, 1).format == "F");
    CHECK(xvname(copy, 1).formatdecimals == 2);
    const std::vector<std::string> rows = all_rows(copy);
    REQUIRE(rows.size() == 30000);
    CHECK(rows[0] == "|name0| 0 0");
    CHECK(rows[29999] == "|name29999| 29999 59998");
    CHECK(log_numbers() == "910/42");
    CHECK(host_log().entries()[0].text == "the data set copy has 30000 rows and 3 variables");
}

TEST_CASE("a data set that is made again takes the place of the old one, and is the one made last") {
    DataStep step;
    const std::string file = step.path("d");
    const auto make = [&](const std::string& name, double value) {
        fill(step.create(name), {{value, "a"}});
        CHECK(end_run_group_data(true));
    };
    make("first", 1);
    make("second", 2);
    make("FIRST", 3);  // within one step too, once its group has ended
    CHECK(joined(all_rows(open_last({}))) == "3 |a|");
    CHECK(joined(all_rows(step.open("first"))) == "3 |a|");
    make("'" + file + "'", 4);
    make("second", 5);
    make("'" + file + "'", 6);
    CHECK(joined(all_rows(open_last({}))) == "6 |a|");
    CHECK(log_numbers() == "");
    // A file is no data set in memory, whatever its name.
    CHECK(step.open("'" + file + "'n") == nullptr);
    CHECK(log_numbers() == "910/22@1");
}

TEST_CASE("a file is read in the form that the reference at hand gives it") {
    DataStep step;
    const std::string file = "'" + step.write("d.csv", "a;y\nb;c\n1;2\n") + "'";
    for (const auto& [options, shown] : {std::pair{"(delimiter=';')", "a:$1 y:$1"},
                                         {"(delimiter=';' skip=1)", "b c"},
                                         {"(delimiter=';')", "a:$1 y:$1"}}) {
        CAPTURE(options);
        begin_step_data();
        DataSet* data = step.open(file + options);
        REQUIRE(data != nullptr);
        CHECK(directory(data) == shown);
        end_step_data();
    }
}

TEST_CASE("--keep writes the data sets of the run, and nothing outside its folder") {
    DataStep step;
    for (const char* name : {"kept", "'../outside'n", "'a/b'n", "'.hidden'n", "'a\x7f'n", "Two"})
        fill(step.create(name), {{1, name}});
    REQUIRE(end_run_group_data(true));
    const std::string folder = step.path("keep");
    CHECK_FALSE(keep_data_sets(folder));
    CHECK(joined(left_in(folder)) == "Two.csv; kept.csv");
    CHECK(joined(left_in(step.folder())) == "keep");
    CHECK(content(folder + "/kept.csv") == "x,_NAME_\n1,kept\n");
    CHECK(log_numbers() == "910/44 910/44 910/44 910/44");
}

TEST_CASE("what cannot be written is refused, and a failed write leaves nothing") {
    DataStep step;
    struct Refused {
        const char *output, *log, *token;
    };
    const Refused rows[] = {
        {"x(obs=3)", "910/73@1", "obs"},
        {"x(firstobs=2)", "910/73@1", "firstobs"},
        {"x(where=(x > 1))", "910/73@1", "where"},
        {"x(encoding='latin1')", "910/73@1", "encoding"},
        {"x(delimiter=';' skip=1)", "910/73@1", "skip"},
        {"x(delimiter=';')", "910/72@1", "delimiter"},
        {"x(decimal=',' delimiter=';')", "910/72@1", "decimal"},
        {"x(keep=a-b)", "910/74@1", "a"},
        {"x(keep=a drop=_all_)", "910/74@1", "_all_"},
        {"''", "910/75@1", ""},
        {"x.", "900/20@1", "x."},
    };
    for (const Refused& row : rows) {
        CAPTURE(row.output);
        host_log().clear();
        CHECK(step.create(row.output) == nullptr);
        CHECK(log_numbers() == row.log);
        REQUIRE(host_log().entries().size() == 1);
        CHECK(host_log().entries()[0].text == row.token);
    }
    host_log().clear();
    CHECK(step.create("'" + step.folder() + "'") == nullptr);
    CHECK(step.create("'" + step.path("no/such/folder.csv") + "'") == nullptr);
    CHECK(step.create("same") != nullptr);
    CHECK(step.create("SAME") == nullptr);
    CHECK(log_numbers() == "910/77@1 910/77@1 910/76@1");
    host_log().clear();
    DataSet* data = step.create("'" + step.path("full.csv") + "'");
    REQUIRE(data != nullptr);
    fail_write(1);
    fill(data, {{1, "a"}});
    xomsg(data);  // does not say that it has rows
    CHECK_FALSE(end_run_group_data(true));
    fail_write(0);
    CHECK(log_numbers() == "910/43");
    CHECK(left_in(step.folder()).empty());
    // An option that names no variable of the output ends the step.
    DataSet* other = step.create("other(drop=nothing)");
    CHECK(left_with([&] { fill(other, {{1, "a"}}); }) == 2000);
}

TEST_CASE("an output may be the input: the old rows are read to the end") {
    DataStep step;
    std::string bytes = "x,_NAME_\n";
    for (int i = 0; i < 50000; ++i) bytes += std::to_string(i) + ",row\n";
    const std::string reference = "'" + step.write("d.csv", bytes) + "'";
    DataSet* in = step.open(reference);
    DataSet* out = step.create(reference);
    REQUIRE(xbynext(in));
    fill(out, {{7, "new"}});
    REQUIRE(end_run_group_data(true));
    CHECK(group_rows(in).size() == 50000);
    CHECK(content(step.path("d.csv")) == "x,_NAME_\n7,new\n");
    end_step_data();
    begin_step_data();
    CHECK(joined(all_rows(step.open(reference))) == "7 |new|");
}

TEST_CASE("blanks around a text come through steps, memory and files; those of the levels make no difference") {
    const Folder folder;
    folder.write("in.csv", "y,a\n1,\" lead\"\n2,trail  \n3,\"both, \"\n4,trail\n5,   \n7,\" lead\"\n");
    const ProgramResult result = run_whole("PROC VEK DATA='" + folder.path() +
                                           "/in.csv'; CLASS a; MODEL y = a; "
                                           "OUTPUT OUT=kept P=p; RUN; "
                                           "PROC VEK DATA=kept; MODEL y = p; OUTPUT OUT='" +
                                           folder.path() + "/out.csv'(KEEP=a) R=r; RUN;");
    CHECK(result.errors() == 0);
    CHECK(content(folder.path() + "/out.csv") == "a\n lead\ntrail  \n\"both, \"\ntrail\n\n lead\n");
    CHECK(result.tables.find("[\"a\", 3, ") != std::string::npos);
}

TEST_CASE("a name in an option of the output that cannot be is pointed at") {
    constexpr struct {
        const char* option;
        const char* text;
        const char* mark;
    } rows[] = {
        {"RENAME=(p=x1)", "the new name x1 stands twice in o", "RENAME=(p=x1)) P=p;"},
        {"KEEP=nope", "there is no variable nope in o", "KEEP=nope) P=p;"},
    };
    for (const auto& row : rows) {
        CAPTURE(row.option);
        const std::vector<LogEntry> log =
            run_text("PROC VEK DATA=TRIAL; MODEL y1 = x1; OUTPUT OUT=o(" + std::string(row.option) + ") P=p; RUN;");
        const auto entry =
            std::find_if(log.begin(), log.end(), [](const LogEntry& e) { return e.level == Level::error; });
        REQUIRE(entry != log.end());
        CHECK(entry->text == row.text);
        CHECK(entry->excerpt.find(row.mark) != std::string::npos);
        CHECK(entry->excerpt.find('^') != std::string::npos);
    }
}

TEST_CASE("rows in blocks of any size fill a large table in memory, piece by piece") {
    constexpr int columns = 40, most = 5000;
    std::vector<Variable> variables(columns + 1);
    for (int c = 0; c <= columns; ++c) variables[static_cast<std::size_t>(c)].name = "v" + std::to_string(c);
    variables[columns].type = VariableType::character;
    MemoryTable table(variables);
    const auto value = [](std::int64_t row, int column) { return static_cast<double>(row * 64 + column); };
    std::vector<std::vector<double>> numbers(columns, std::vector<double>(most));
    std::vector<std::string> words(most);
    std::vector<TextValue> texts(most);
    std::vector<Column> block(columns + 1);
    std::int64_t rows = 0;
    for (int size = 1; rows < 50000; size = size * 7 % most + 1) {
        for (int i = 0; i < size; ++i) {
            const auto at = static_cast<std::size_t>(i);
            for (int c = 0; c < columns; ++c) numbers[static_cast<std::size_t>(c)][at] = value(rows + i, c);
            words[at] = "row " + std::to_string(rows + i) + "  ";
            texts[at] = {words[at].data(), static_cast<std::int32_t>(words[at].size()) - 2, 2};
        }
        for (std::size_t c = 0; c < columns; ++c) block[c].number = numbers[c].data();
        block[columns].text = texts.data();
        table.add_rows(block.data(), size);
        rows += size;
    }
    REQUIRE(table.rows() == rows);
    std::int64_t wrong = 0;
    for (std::int64_t row = 0; row < rows; ++row) {
        const std::int64_t piece = row / MemoryTable::piece_rows, at = row % MemoryTable::piece_rows;
        for (int c = 0; c < columns; ++c) wrong += table.numbers(c, piece)[at] == value(row, c) ? 0 : 1;
        wrong += table.texts(columns, piece)[at].whole() == "row " + std::to_string(row) + "  " ? 0 : 1;
    }
    CHECK(wrong == 0);
}
