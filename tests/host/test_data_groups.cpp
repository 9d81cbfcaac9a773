// BY groups, conditions, FIRSTOBS= and OBS=: which rows come out, in which groups, however often and by however many
// readers they are read.
#include <doctest/doctest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/data/expression.h"
#include "host/data/expression_node.h"
#include "host/data/row_blocks.h"
#include "host/data_support.h"
#include "support/program_support.h"

using namespace vek;
using namespace vek::test;
using namespace std::string_literals;

namespace {

Place by_place() { return {"test.vek", 4, 3, 2}; }

void by(DataSet* data, const std::vector<std::string>& names, bool not_sorted = false) {
    std::vector<ByVariable> variables;
    for (const std::string& name : names) {
        const bool descending = name.front() == '-';
        variables.push_back({xvfind(data, descending ? name.substr(1) : name), descending});
    }
    set_by(data, variables, not_sorted, by_place());
}

bool where(DataSet* data, const std::string& condition) {
    Scanner scanner("test.vek", condition + ";");
    TokenCursor cursor(&scanner);
    cursor.load();
    Where parsed;
    if (!parse_where(cursor, *data, &parsed)) return false;
    set_where(data, parsed);
    return true;
}

/// All groups: their values and rows, as "a=1: 2 3; 4 5 | a=2: ...".
std::string groups(DataSet* data) {
    std::string text;
    while (xbynext(data)) {
        if (!text.empty()) text += " | ";
        for (const auto& [name, value] : by_values(data)) text += name + "=" + value + " ";
        text += joined(group_rows(data));
    }
    return text;
}

}  // namespace

TEST_CASE("BY: groups follow their values, and data out of order are refused with the lines") {
    struct Case {
        std::string bytes;
        std::vector<std::string> by;
        bool not_sorted;
        std::string groups, log, text;
    };
    const Case cases[] = {
        {"a,y\n1,1\n1,2\n2,3\n10,4\n", {"a"}, false, "a=1 1 1; 1 2 | a=2 2 3 | a=10 10 4", "", ""},
        {"a,y\n2,1\n1,2\n1,3\n", {"-a"}, false, "a=2 2 1 | a=1 1 2; 1 3", "", ""},
        {"a,b,y\n1,y,1\n1,x,2\n2,z,3\n2,a,4\n",
         {"a", "-b"},
         false,
         "a=1 b=y 1 |y| 1 | a=1 b=x 1 |x| 2 | a=2 b=z 2 |z| 3 | a=2 b=a 2 |a| 4",
         "",
         ""},
        {"a,y\n.,1\n.A,2\n-5,3\n0,4\n-0,5\n", {"a"}, false, "a=. . 1 | a=.A .A 2 | a=-5 -5 3 | a=0 0 4; -0 5", "", ""},
        {"t,y\n,1\nB,2\na,3\nab,4\n", {"t"}, false, "t= || 1 | t=B |B| 2 | t=a |a| 3 | t=ab |ab| 4", "", ""},
        {"a,y\n1,1\n2,2\n1,3\n2,4\n", {"a"}, true, "a=1 1 1 | a=2 2 2 | a=1 1 3 | a=2 2 4", "", ""},
        {"a,y\n1,1\n2,2\n1,3\n",
         {"a"},
         false,
         "",
         "910/30@4",
         "the BY group a=1 of FILE stands twice: from line 2 on and from line 4 on"},
        {"a,y\n2,1\n1,2\n",
         {"a"},
         false,
         "",
         "910/31@4",
         "FILE is not in the order of BY: a=1 in line 3 stands behind a=2"},
        {"a,y\n1,1\n2,2\n",
         {"-a"},
         false,
         "",
         "910/31@4",
         "FILE is not in the order of BY: a=2 in line 3 stands behind a=1"},
        {"t,y\nb,1\nB,2\n",
         {"t"},
         false,
         "",
         "910/31@4",
         "FILE is not in the order of BY: t=B in line 3 stands behind t=b"},
    };
    for (const Case& one : cases) {
        CAPTURE(one.bytes);
        DataStep step;
        DataSet* data = step.open_bytes(one.bytes);
        REQUIRE(data != nullptr);
        by(data, one.by, one.not_sorted);
        CHECK(xbyuse(data));
        std::string text;
        const int code = left_with([&] { text = groups(data); });
        CHECK(text == one.groups);
        CHECK(code == (one.log.empty() ? 0 : 2000));
        CHECK(log_numbers() == one.log);
        if (host_log().entries().empty()) continue;
        std::string said = host_log().entries()[0].text;
        const std::size_t file = said.find(step.path("d.csv"));
        if (file != std::string::npos) said.replace(file, step.path("d.csv").size(), "FILE");
        CHECK(said == one.text);
    }
}

TEST_CASE("BY on formatted values: neighbours with one text are one group") {
    for (const char* block : {"one block", "a few bytes"}) {
        CAPTURE(block);
        DataStep step;
        for (const char* statement : {"size low-4='small' 5-high='large';", "$half 'a'-'m'='first' other='second';"}) {
            Scanner scanner("test.vek", statement);
            TokenCursor cursor(&scanner);
            cursor.load();
            REQUIRE(parse_value_statement(cursor));
        }
        set_block_bytes(*block == 'o' ? 0 : 16);  // the second: each group lies in several blocks
        std::string bytes = "a,t,y\n";
        for (const char* row : {"1,b", "2,c", "3,d", "4,p", "5,q", "6,r", "7,s", "8,e", "9,f"}) bytes += row + ",0\n"s;
        DataSet* data = step.open_bytes(bytes, "(drop=y)");
        set_block_bytes(0);
        set_format(data, 0, format_from_text("size", 0, 0));
        set_format(data, 1, format_from_text("$half", 0, 0));
        by(data, {"a"});
        CHECK(groups(data) == "a=small 1 |b|; 2 |c|; 3 |d|; 4 |p| | a=large 5 |q|; 6 |r|; 7 |s|; 8 |e|; 9 |f|");
        by(data, {"t"}, true);
        CHECK(groups(data) ==
              "t=first 1 |b|; 2 |c|; 3 |d| | t=second 4 |p|; 5 |q|; 6 |r|; 7 |s| | t=first 8 |e|; 9 |f|");
    }
}

TEST_CASE("the values as they are shown, and lines of a file or rows in memory, stand in messages about data") {
    DataStep step;
    const std::string path = step.write("d.csv", "a,y,z\n2,1,3\n1,2,\n");
    const ProgramResult result =
        run_whole("PROC VEK DATA='" + path + "'; FORMAT a 8.2; BY a; MODEL y=; QUIT;\n" + "PROC VEK DATA='" + path +
                  "'; MODEL y=; OUTPUT OUT=copy P=p; QUIT;\n" + "PROC VEK DATA=copy; MODEL z=; QUIT;\n" +
                  "PROC VEK DATA=copy; BY a; MODEL y=; QUIT;");
    std::vector<std::string> errors;
    for (const LogEntry& entry : result.log) {
        if (entry.level == Level::error) errors.push_back(entry.text);
    }
    REQUIRE(errors.size() == 2);
    CHECK(errors[0].ends_with("is not in the order of BY: a=1.00 in line 3 stands behind a=2.00"));
    CHECK(std::any_of(result.log.begin(), result.log.end(), [](const LogEntry& entry) {
        return entry.text == "copy: 2 rows read, 1 used; z cost 1 (row 2)";
    }));
    CHECK(errors[1] == "copy is not in the order of BY: a=1 in row 2 stands behind a=2");
}

TEST_CASE("a message within a BY group names the group by all of its variables") {
    DataStep step;
    const std::string path = step.write("d.csv", "a,b,y,x\n1,p,1,\n1,q,2,3\n");
    const ProgramResult result = run_whole("PROC VEK DATA='" + path + "'; BY a b; MODEL y=x; QUIT;");
    CHECK(std::any_of(result.log.begin(), result.log.end(),
                      [](const LogEntry& entry) { return entry.text.ends_with(" (a=1 b=p)"); }));
}

TEST_CASE("no observation is left: the reason is told with the rows that there were") {
    struct Case {
        std::string bytes, options, reason;
    };
    const Case cases[] = {
        {"a\n", "", ": it has no rows"},
        {"a\n1\n", "(where=(a > 5))", ": WHERE holds for none of its 1 row"},
        {"a\n1\n2\n", "(where=(a > 5))", ": WHERE holds for none of its 2 rows"},
        {"a\n1\n2\n", "(obs=0)", ": OBS= takes none of its 2 rows"},
        {"a\n1\n2\n", "(firstobs=2 obs=1)", ": OBS= takes none of its 2 rows"},
        {"a\n1\n2\n", "(firstobs=3)", ": FIRSTOBS= passes over all 2 rows"},
        {"a\n1\n2\n", "(firstobs=2 where=(a = 1))", ": FIRSTOBS= passes over all 1 row that WHERE holds for"},
    };
    for (const Case& one : cases) {
        CAPTURE(one.options);
        DataStep step;
        DataSet* data = step.open_bytes(one.bytes, one.options);
        CHECK(all_rows(data).empty());
        REQUIRE(host_log().entries().size() == 1);
        CHECK(host_log().entries()[0].text == "no observation of " + step.path("d.csv") + " is left" + one.reason);
    }
}

TEST_CASE("conditions, FIRSTOBS= and OBS=: rows are counted among those that the conditions hold for") {
    struct Case {
        std::string options, where, rows;
    };
    const Case cases[] = {
        {"", "", "2:1 |x|; 3:2 |y|; 4:3 |x|; 5:4 |y|; 6:. ||; 7:6 |x|"},
        {"(obs=2)", "", "2:1 |x|; 3:2 |y|"},
        {"(firstobs=3 obs=4)", "", "4:3 |x|; 5:4 |y|"},
        {"(firstobs=6)", "", "7:6 |x|"},
        {"(firstobs=7)", "", ""},
        {"(obs=0)", "", ""},
        {"(obs=max)", "t='y'", "3:2 |y|; 5:4 |y|"},
        {"(where=(t='x'))", "", "2:1 |x|; 4:3 |x|; 7:6 |x|"},
        {"(where=(t='x') obs=2)", "", "2:1 |x|; 4:3 |x|"},
        {"(where=(t='x') firstobs=2)", "a<5", "4:3 |x|"},
        {"(firstobs=2 where=(a>1))", "t='y'", "5:4 |y|"},
        {"(where=(a>100))", "", ""},
    };
    for (const Case& one : cases) {
        CAPTURE(one.options);
        CAPTURE(one.where);
        DataStep step;
        DataSet* data = step.open_bytes("a,t\n1,x\n2,y\n3,x\n4,y\n,\n6,x\n", one.options);
        REQUIRE(data != nullptr);
        if (!one.where.empty()) REQUIRE(where(data, one.where));
        CHECK(joined(all_rows(data, true)) == one.rows);
        CHECK(log_numbers() == (one.rows.empty() ? "910/41" : ""));
        // Again from the start of the group.
        xbyrwnd(data);
        CHECK(joined(group_rows(data, true)) == one.rows);
    }
}

TEST_CASE("without rows there is one empty group, so that data sets get their variables") {
    DataStep step;
    DataSet* data = step.open_bytes("a,y\n");
    by(data, {"a"});
    CHECK(groups(data) == "");
    CHECK(log_numbers() == "910/41");
    CHECK_FALSE(xbynext(data));
}

TEST_CASE("groups across blocks: every reader gets every row of its group, in any pattern of reading") {
    // Groups of 1 to 40,000 rows over many blocks, on a plain file, a compressed one and a table in memory.
    std::mt19937_64 random(3);
    std::string bytes = "g,id\n";
    std::vector<int> sizes;
    int id = 0;
    for (int g = 0; id < 120000; ++g) {
        const int size = g % 37 == 5 ? 40000 : static_cast<int>(random() % 30) + 1;
        sizes.push_back(size);
        for (int i = 0; i < size; ++i) bytes += std::to_string(g) + "," + std::to_string(id++) + "\n";
    }
    DataStep step;
    step.write("d.csv", bytes);
    REQUIRE(std::system(("gzip -kf '" + step.path("d.csv") + "'").c_str()) == 0);
    for (const std::string& name : {"'" + step.path("d.csv") + "'", "'" + step.path("d.csv.gz") + "'",
                                    "'" + step.path("d.csv") + "'(where=(id >= 0))"}) {
        CAPTURE(name);
        DataSet* data = step.open(name);
        REQUIRE(data != nullptr);
        by(data, {"g"});
        std::size_t group = 0;
        std::int64_t next = 0;
        const auto read = [&](FetchList* list, std::int64_t first, std::int64_t limit) {
            Column columns[2];
            std::int64_t seen = 0;
            while (seen < limit) {
                const int rows = xybget(list, columns);
                if (rows == 0) break;
                bool right = true;
                for (int r = 0; r < rows; ++r) {
                    right = right && columns[0].number[r] == static_cast<double>(group) &&
                            columns[1].number[r] == static_cast<double>(first + seen + r);
                }
                REQUIRE(right);
                REQUIRE(xorow(list, 0) == first + seen + 2);
                seen += rows;
            }
            return seen;
        };
        while (xbynext(data)) {
            REQUIRE(group < sizes.size());
            FetchList* lists[2];
            for (FetchList*& list : lists) {
                list = xvgeti(data, 2);
                xvgetd(list, 0);
                xvgetd(list, 1);
                xvgete(list);
            }
            // One reader to the end, a part of the group, the other one, again after going back, or nothing at all.
            switch (group % 5) {
                case 0:
                    CHECK(read(lists[0], next, 1 << 30) == sizes[group]);
                    break;
                case 1:
                    read(lists[0], next, 1);
                    break;
                case 2:
                    read(lists[0], next, 20000);
                    CHECK(read(lists[1], next, 1 << 30) == sizes[group]);
                    break;
                case 3:
                    CHECK(read(lists[0], next, 1 << 30) == sizes[group]);
                    xbyrwnd(data);
                    CHECK(read(lists[0], next, 1 << 30) == sizes[group]);
                    CHECK(read(lists[1], next, 1 << 30) == sizes[group]);
                    CHECK(xybget(lists[0], std::vector<Column>(2).data()) == 0);
                    break;
                default:
                    break;
            }
            for (FetchList* list : lists) xvgett(list);
            next += sizes[group];
            ++group;
        }
        CHECK(group == sizes.size());
        CHECK(log_numbers() == "");
    }
}

TEST_CASE("conditions: each operator on numbers, texts and missing values") {
    struct Case {
        std::string condition;
        std::string ids;  ///< rows that it holds for
    };
    // Rows: 1 (5, "ab"), 2 (-2, "abc"), 3 (missing, ""), 4 (.A, "B"), 5 (0, "ab ").
    const Case cases[] = {
        {"x = 5", "1"},
        {"x eq 5", "1"},
        {"x ne 5", "2345"},
        {"x <> 5", "2345"},
        {"x ^= 5", "2345"},
        {"x < 0", "234"},  // missing values stand in front of all numbers
        {"x le -2", "234"},
        {"x > -2", "15"},
        {"x >= -2", "125"},
        {"x = .", "3"},
        {"x = .A", "4"},
        {"x is missing", "34"},
        {"x is not missing", "125"},
        {"t is missing", "3"},
        {"x in (5, -2 .A)", "124"},
        {"x not in (5, -2)", "345"},
        {"t in ('ab' 'B')", "145"},
        {"t = 'ab'", "15"},  // trailing blanks do not count
        {"t = \"ab  \"", "15"},
        {"t < 'b'", "12345"},
        {"t > 'ab'", "2"},  // capitals stand in front of small letters
        {"t = ''", "3"},
        {"x", "12"},
        {"not x", "345"},
        {"x + 1 = 6 or x * 2 = -4", "12"},
        {"x - 1 > 0 and t = 'ab'", "1"},
        {"-x = 2", "2"},
        {"x / 0 = .", "12345"},  // a result that is no number is missing
        {"2 + 3 * 2 = 8", "12345"},
        {"(2 + 3) * 2 = 10", "12345"},
        {"-2 ** 2 = -4", "12345"},
        {"2 ** 3 ** 2 = 512", "12345"},
        {"-3 < x < 3", "25"},
        {"x = 5 or x = 0 and t = 'none'", "1"},
        {"(x = 5 or x = 0) and t = 'none'", ""},
        {"not x = 5 and t = 'ab'", "5"},
        {"X = 5 AND T = 'ab'", "1"},
        {"'x'n = 5", "1"},
        {"t = u", "12345"},
        {"x = id + 4", "1"},
        {"5 = x", "1"},
    };
    for (const Case& one : cases) {
        CAPTURE(one.condition);
        DataStep step;
        DataSet* data =
            step.open_bytes("id,x,t,u\n1,5,ab,ab\n2,-2,abc,abc\n3,,,\n4,.A,B,B\n5,0,ab ,ab\n", "(keep=id t u x)");
        const bool good = where(data, one.condition);
        CHECK(good);
        if (!good) continue;
        std::string ids;
        for (const std::string& row : all_rows(data)) ids += row.substr(0, 1);
        CHECK(ids == one.ids);
    }
}

TEST_CASE("texts compare as if the shorter one had blanks behind it") {
    struct Pair {
        std::string a, b;
        int order;
    };
    const Pair pairs[] = {{"ab", "ab", 0}, {"ab", "ab  ", 0}, {"", " ", 0},       {"ab", "abc", -1},  {"ab!", "ab", 1},
                          {"B", "a", -1},  {"b", "a\xC3", 1}, {"ab\t", "ab", -1}, {"ab", "ab \n", 1}, {"\xC3", "z", 1}};
    for (const Pair& pair : pairs) {
        CAPTURE(pair.a);
        CAPTURE(pair.b);
        CHECK(compare_texts(pair.a, pair.b) == pair.order);
        CHECK(compare_texts(pair.b, pair.a) == -pair.order);
    }
}

TEST_CASE("conditions: a mistake is reported at its token, with what would mend it") {
    struct Case {
        std::string condition;
        int number;
        int column;
        std::string suggest;
    };
    const Case cases[] = {
        {"x = 'a'", 3, 5, ""},
        {"'a' = x", 3, 1, ""},
        {"t = 5", 3, 5, "'5'"},
        {"t = 5 + 1", 3, 5, ""},
        {"'7.5' < x", 3, 1, "7.5"},
        {"t in (1 2)", 9, 7, "'1'"},
        {"x in ('a')", 3, 7, ""},
        {"yeild = 5", 2, 1, "yield"},
        {"t + 1 = 2", 4, 1, ""},
        {"t", 5, 1, ""},
        {"x = 1 and t", 5, 11, ""},
        {"x = '7a'", 3, 5, ""},
        {"-t = 1", 4, 2, ""},
        {"t ** 2 = 4", 4, 1, ""},
        {"2 ** t = 4", 4, 6, ""},
        {"x =", 1, 4, ""},
        {"x = 1 2", 1, 7, ""},
        {"(x = 1", 8, 7, ""},
        {"x in 5", 1, 6, ""},
        {"x in (1", 8, 8, ""},
        {"x is 5", 1, 6, ""},
        {"x = 1 and", 1, 10, ""},
        {std::string(250, '(') + "x" + std::string(250, ')'), 6, 201, ""},
    };
    for (const Case& one : cases) {
        CAPTURE(one.condition);
        DataStep step;
        DataSet* data = step.open_bytes("x,t,yield\n1,a,2\n");
        Scanner scanner("test.vek", one.condition + ";");
        TokenCursor cursor(&scanner);
        cursor.load();
        Where parsed;
        CHECK_FALSE(parse_where(cursor, *data, &parsed));
        CHECK(cursor.failure().group == 920);
        CHECK(cursor.failure().number == one.number);
        CHECK(cursor.failure().token.column == one.column);
        CHECK(cursor.failure().suggest == one.suggest);
    }
}

TEST_CASE("the step's note counts rows and the lines that a variable cost") {
    struct Case {
        int lost;  // of seven rows, the first ones
        const char* told;
    };
    const Case cases[] = {{0, ""},
                          {1, "; y cost 1 (line 2)"},
                          {2, "; y cost 2 (lines 2, 3)"},
                          {5, "; y cost 5 (lines 2, 3, 4, 5, 6)"},
                          {6, "; y cost 6 (lines 2, 3, 4, 5, 6, ...)"}};
    for (const Case& one : cases) {
        DataStep step;
        std::string bytes = "a,y\n";
        for (int row = 0; row < 7; ++row) bytes += row < one.lost ? "1,\n" : "1,2\n";
        DataSet* data = step.open_bytes(bytes);
        REQUIRE(xbynext(data));
        FetchList* list = xvgeti(data, 1);
        xvgetd(list, 1);
        xvgete(list);
        Column column;
        const int rows = xybget(list, &column);
        for (int r = 0; r < rows; ++r) {
            if (wzmis(column.number[r])) xolost(list, 1, r);
        }
        xoused(data, rows, rows - one.lost);
        end_step_data();
        REQUIRE(host_log().entries().size() == 1);
        CHECK(host_log().entries()[0].text ==
              step.path("d.csv") + ": 7 rows read, " + std::to_string(7 - one.lost) + " used" + one.told);
    }
}
