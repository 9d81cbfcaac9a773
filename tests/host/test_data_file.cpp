// Data files: what is read from which bytes, and which message with which line comes from bytes that break a rule.
#include <doctest/doctest.h>
#include <zlib.h>
#include <zstd.h>

#include <random>
#include <string>
#include <vector>

#include "host/data/data_file.h"
#include "host/data/delimiter_index.h"
#include "host/data/row_source.h"
#include "host/data_support.h"
#include "support/program_support.h"

using namespace vek;
using namespace vek::test;
using namespace std::string_literals;

namespace {

struct GoodFile {
    const char* why;
    std::string bytes;
    std::string options;
    std::string directory;
    std::string rows;  ///< with their lines
    std::string log = {};
    std::string name = "d.csv";
};

struct BadFile {
    const char* why;
    std::string bytes;
    std::string log;
    std::string options = {};
    std::string name = "d.csv";
};

std::string utf16(std::string_view text, bool big) {
    std::string bytes = big ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : text) big ? bytes.append({'\0', c}) : bytes.append({c, '\0'});
    return bytes;
}

std::string gzip(const std::string& text) {
    std::string out(text.size() + 1000, '\0');
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

std::string zstd(const std::string& text) {
    std::string out(ZSTD_compressBound(text.size()), '\0');
    out.resize(ZSTD_compress(out.data(), out.size(), text.data(), text.size(), 3));
    return out;
}

}  // namespace

TEST_CASE("good files: what a file holds must come out, cell by cell, with its line") {
    const std::string rows3 = "2:1 2; 3:3 4";
    const GoodFile files[] = {
        {"plain", "a,y\n1,2\n3,4\n", "", "a y", rows3},
        {"no line end at the end", "a,y\n1,2\n3,4", "", "a y", rows3},
        {"CRLF", "a,y\r\n1,2\r\n3,4\r\n", "", "a y", rows3},
        {"mixed line ends", "a,y\n1,2\r\n3,4\n", "", "a y", rows3},
        {"byte order mark",
         "\xEF\xBB\xBF"
         "a,y\n1,2\n3,4\n",
         "", "a y", rows3},
        {"UTF-16, low byte first", utf16("a,y\n1,2\n3,4\n", false), "", "a y", rows3},
        {"UTF-16, high byte first", utf16("a,y\n1,2\n3,4\n", true), "", "a y", rows3},
        {"UTF-16 by name", utf16("a,y\n1,2\n3,4\n", true).substr(2), "(encoding='utf-16be')", "a y", rows3},
        {"tabs", "a\ty\n1\t2\n3\t4\n", "", "a y", rows3, "", "d.tsv"},
        {"quotes in tsv", "a\ty\n\"1\t1\"\t2\n3\t4\n", "", "a:$3 y", "2:|1\t1| 2; 3:|3| 4", "", "d.tsv"},
        {"gzip", gzip("a,y\n1,2\n3,4\n"), "", "a y", rows3, "", "d.csv.gz"},
        {"two gzip members", gzip("a,y\n1,2\n") + gzip("3,4\n"), "", "a y", rows3, "", "d.csv.gz"},
        {"zstd", zstd("a\ty\n1\t2\n3\t4\n"), "", "a y", rows3, "", "d.tsv.zst"},
        {"another ending", "a,y\n1,2\n3,4\n", "", "a y", rows3, "", "d.dat"},
        {"separator by option", "a;y\n1;2\n3;4\n", "(delimiter=';')", "a y", rows3},
        {"tab by option", "a\ty\n1\t2\n3\t4\n", "(delimiter='\\t')", "a y", rows3},
        {"tab by its name", "a\ty\n1\t2\n3\t4\n", "(delimiter='Tab')", "a y", rows3},
        {"blank by option", "a y\n1 2\n3 4\n", "(delimiter=' ')", "a y", rows3},
        {"decimal comma", "a;y\n1;2,5\n3;-,5e1\n", "(delimiter=';' decimal=',')", "a y", "2:1 2.5; 3:3 -5"},
        {"decimal comma in quotes", "a,y\n1,\"2,5\"\n3,\"1.234,5\"\n", "(decimal=',')", "a y", "2:1 2.5; 3:3 1234.5"},
        {"lines in front of the names", "made by hand\n\"\na,y\n1,2\n3,4\n", "(skip=2)", "a y", "4:1 2; 5:3 4"},
        {"no lines in front of the names", "a,y\n1,2\n3,4\n", "(skip=0)", "a y", rows3},
        {"blank lines", "a,y\n\n1,2\n\r\n\n3,4\n\n", "", "a y", "3:1 2; 6:3 4"},
        {"one column: a blank line is missing", "y\n1\n\n2\n", "", "y", "2:1; 3:.; 4:2"},
        {"one column: CRLF", "y\r\n1\r\n\r\n2\r\n", "", "y", "2:1; 3:.; 4:2"},
        {"missing values", "y,t\n.,.\nNA,NA\n,\n\"NA\",\"\"\n  , NA \n5,x\n", "", "y t:$1",
         "2:. ||; 3:. ||; 4:. ||; 5:. ||; 6:. ||; 7:5 |x|"},
        {"special missing values", "y\n.A\n.z\n._\n1\n", "", "y", "2:.A; 3:.Z; 4:._; 5:1"},
        {"the same in a text column", "t\n.A\nx\n", "", "t:$2", "2:|.A|; 3:|x|"},
        {"nothing but missing values is numeric", "a,y\n1,\n2,NA\n", "", "a y", "2:1 .; 3:2 ."},
        {"quoted numbers", "a,y\n\"1\",\" 2 \"\n\"3\",4\n", "", "a y", rows3},
        {"embedded separators, quotes and line ends", "t,y\n\"a,b\",1\n\"say \"\"x\"\"\",2\n\"two\nlines\",3\nz,4\n",
         "", "t:$9 y", "2:|a,b| 1; 3:|say \"x\"| 2; 4:|two\nlines| 3; 6:|z| 4"},
        {"a carriage return inside quotes", "t,y\n\"a\rb\",1\n", "", "t:$3 y", "2:|a\rb| 1"},
        {"blanks belong to a text", "t,y\n a,1\nb c ,2\n", "", "t:$3 y", "2:| a| 1; 3:|b c| 2"},
        {"names with blanks around, literals", " a ,\"b, c\",y\t\n1,2,3\n", "", "a b, c y", "2:1 2 3"},
        {"a blank name", "a,,y\n1,2,3\n", "", "a column_2 y", "2:1 2 3", "910/15@1"},
        {"header alone", "a,y\n", "", "a y", "", "910/41"},
        {"other number forms make text", "y,z\n1,Inf\n0x10,2\n", "", "y:$4 z:$3", "2:|1| |Inf|; 3:|0x10| |2|",
         "910/16@3 910/16@2"},
        {"numbers become text when a text follows", "t\n1\n2.50\nx\n", "", "t:$4", "2:|1|; 3:|2.50|; 4:|x|",
         "910/16@4"},
        {"plain text makes no note", "t\nx\n1\n", "", "t:$1", "2:|x|; 3:|1|"},
        {"a length without quotes and blanks", "t\n\"abc\"\nab  \n", "", "t:$3", "2:|abc|; 3:|ab|"},
        {"latin1", "t\n\xE4\n", "(encoding='Latin 1')", "t:$2", "2:|\xC3\xA4|"},
        {"letters of latin1 that look like a byte order mark", "\xFF\xFE,y\n1,2\n3,4\n", "(encoding='latin1')",
         "\xC3\xBF\xC3\xBE y", rows3},
        {"windows-1252", "t\n\x80\n", "(encoding='windows-1252')", "t:$3", "2:|\xE2\x82\xAC|"},
        {"a number too large in a text column", "t\n1e400\nx\n", "", "t:$5", "2:|1e400|; 3:|x|", "910/16@3"},
        {"a semicolon in a one-column file", "t\na;b\nc\n", "", "t:$3", "2:|a;b|; 3:|c|"},
        {"mixed texts with commas stay text", "t\n\"0,5\"\nx\n", "", "t:$3", "2:|0,5|; 3:|x|"},
    };
    for (const GoodFile& file : files) {
        CAPTURE(file.why);
        DataStep step;
        DataSet* data = step.open_bytes(file.bytes, file.options, file.name);
        CHECK(log_numbers() == (file.log == "910/41" ? "" : file.log));
        if (data == nullptr) continue;
        CHECK(directory(data) == file.directory);
        CHECK(joined(all_rows(data, true)) == file.rows);
        CHECK(log_numbers() == file.log);
    }
}

TEST_CASE("bad files: each gives one error with its line, and nothing is opened") {
    const BadFile files[] = {
        {"too many fields", "a,y\n1,2\n1,2,3\n", "910/1@3"},
        {"too few fields", "a,y\n1,2\n1\n", "910/2@3"},
        {"too few, then too many: the sum is right", "a,b,y\n1,2\n1,2,3,4\n", "910/2@2"},
        {"a quote inside a field", "a,y\n5\" pipe,2\n1,2\n", "910/3@2"},
        {"a quote inside, far from the next", "a,y\n5\" pipe,2\n1,2\n\"x\",3\n", "910/3@2"},
        {"a quote that is not closed", "a,y\n1,2\n\"x,2\n1,2\n", "910/4@3"},
        {"something behind a closing quote", "a,y\n\"x\"z,2\n", "910/5@2"},
        {"a blank behind a closing quote", "a,y\n\"x\" ,2\n", "910/5@2"},
        {"a blank in front of a quote", "a,y\n \"x\",2\n", "910/3@2"},
        {"a byte 0", "a,y\n1,2\n1,\0\n"s, "910/6@3"},
        {"a byte 0 in quotes", "a,y\n1,\"\0\"\n"s, "910/6@2"},
        {"a carriage return alone", "a,y\n1\r,2\n", "910/7@2"},
        {"old line ends", "a,y\r1,2\r", "910/7@1"},
        {"a carriage return at the very end", "a,y\n1,2\r", "910/7@2"},
        {"bytes that are not UTF-8", "a,y\n1,2\n\xE4,2\n", "910/8@3"},
        {"bad bytes in the names", "\xE4,y\n1,2\n", "910/8@1"},
        {"a byte that windows-1252 lacks", "a,y\n\x81,2\n", "910/8@2", "(encoding='cp1252')"},
        {"half a UTF-16 unit", utf16("a,y\n1,2\n", false) + "3", "910/8@3"},
        {"no names", "", "910/11@1"},
        {"an empty first line", "\na,y\n1,2\n", "910/10@1"},
        {"a name twice", "a,y,A\n1,2,3\n", "910/12@1"},
        {"a name twice beyond ASCII", "\xC3\xA4,y,\xC3\x84\n1,2,3\n", "910/12@1"},
        {"a blank name like another", "a,column_3,\n1,2,3\n", "910/15@1 910/12@1"},
        {"a name too long", std::string(129, 'n') + ",y\n1,2\n", "910/13@1"},
        {"a number too large", "a,y\n1,2\n1,-1e999\n", "910/17@3"},
        {"a number too large in front of a bad row", "a,y\n1,1e999\n1\n", "910/17@2"},
        {"a number too large behind a bad row", "a,y\n1\n1,1e999\n", "910/2@2"},
        {"semicolons", "a;y\n1;2\n", "910/20@1"},
        {"semicolons and decimal commas", "a;y\n1;2,5\n", "910/20@1"},
        {"tabs in a csv", "a\ty\n1\t2\n", "910/20@1"},
        {"commas in a tsv", "a,y\n1,2\n", "910/20@1", "", "d.tsv"},
        {"decimal commas", "a;y\n1;2\n2;0,435\n", "910/18@3", "(delimiter=';')"},
        {"grouped numbers with decimal commas", "a;y\n1;1.234,5\n", "910/18@2", "(delimiter=';')"},
        {"decimal points", "a;y\n1;0.435\n", "910/19@2", "(delimiter=';' decimal=',')"},
        {"a field for the separator at the end", "a,y\n1,2,", "910/1@2"},
        {"SKIP passes over everything", "a,y\n1,2\n", "910/25@2", "(skip=5)"},
        {"a bad row behind OBS=", "a,y\n1,2\n3,4\n5\n", "910/2@4", "(obs=1)"},
        {"an error behind line ends in quotes", "t,y\n\"a\nb\",1\n2\n", "910/2@4"},
        {"not gzip", "a,y\n1,2\n", "910/21@1", "", "d.csv.gz"},
        {"gzip that ends in the middle", gzip("a,y\n1,2\n3,4\n").substr(0, 20), "910/21@1", "", "d.csv.gz"},
        {"zstd that ends in the middle", zstd("a,y\n1,2\n3,4\n").substr(0, 15), "910/21@1", "", "d.csv.zst"},
    };
    for (const BadFile& file : files) {
        CAPTURE(file.why);
        DataStep step;
        CHECK(step.open_bytes(file.bytes, file.options, file.name) == nullptr);
        CHECK(log_numbers() == file.log);
    }
}

TEST_CASE("files: one that holds no text, or text in another encoding than it seems, is called by its kind") {
    struct Kind {
        std::string bytes;
        std::string log, part;
    };
    const Kind kinds[] = {
        {gzip("a,y\n1,2\n"), "910/21@1", "compressed by gzip"},
        {zstd("a,y\n1,2\n"), "910/21@1", "compressed by zstd"},
        {std::string("PK\x03\x04\x14\0\x06\0", 8), "910/21@1", "workbook or a zip archive"},
        {utf16("a,y\n1,2\n", false) + "3", "910/8@3", "UTF-16"},
    };
    for (const Kind& kind : kinds) {
        CAPTURE(kind.part);
        DataStep step;
        CHECK(step.open_bytes(kind.bytes) == nullptr);
        CHECK(log_numbers() == kind.log);
        REQUIRE(host_log().entries().size() == 1);
        CHECK(host_log().entries()[0].text.find(kind.part) != std::string::npos);
    }
}

TEST_CASE("an error about a row shows the row with a mark under the place") {
    DataStep step;
    step.open_bytes("name,y\n\xC3\xA4\xC3\xB6,2\n\xC3\xBC,2,3\n");
    REQUIRE(host_log().entries().size() == 1);
    const LogEntry& entry = host_log().entries()[0];
    CHECK(entry.text == "row has 3 fields, the header names 2");
    CHECK(entry.place.file == step.path("d.csv"));
    // The column is for those who read the log as data; its text form names the line.
    CHECK(entry.place.column == 5);
    CHECK(entry.place.length == 1);
    std::string text;
    host_log().write_text(&text);
    CHECK(text.starts_with(step.path("d.csv") + ":3: error: row has 3 fields"));
    CHECK(entry.excerpt.starts_with("\xC3\xBC,2,3\n    ^\n"));
}

TEST_CASE("an error about data has its column and length, in a long line and behind line ends in quotes too") {
    struct Fault {
        std::string why, bytes;
        int line, column, length;
    };
    const Fault faults[] = {
        {"a field", "a,y\n1,1e999\n", 2, 3, 5},
        {"a name", "a,Y,y\n1,2,3\n", 1, 5, 1},
        {"far to the right", "a,y\n" + std::string(500, '\xC3') + "\n", 2, 1, 1},
        {"behind a long text", "a,y\n\xC3\xA4" + std::string(500, 'x') + "\",2\n", 2, 502, 1},
        {"in a field of several lines", "t,y\n\"a\nbc\"d,1\n", 3, 4, 1},
        {"too many fields behind a line end in quotes", "t,y\n\"a\nb\",1,2\n", 2, 1, 1},
        {"no names", "", 1, 1, 1},
    };
    for (const Fault& fault : faults) {
        CAPTURE(fault.why);
        DataStep step;
        CHECK(step.open_bytes(fault.bytes) == nullptr);
        REQUIRE(host_log().entries().size() == 1);
        const Place& place = host_log().entries()[0].place;
        CHECK(place.line == fault.line);
        CHECK(place.column == fault.column);
        CHECK(place.length == fault.length);
    }
}

TEST_CASE("a file that is not there: the nearest name is suggested, and the ending that was left out") {
    DataStep step;
    for (const char* name : {"plots.csv", "trial.tsv.gz", "readme.txt"}) step.open_bytes("a,y\n1,2\n", "", name);
    host_log().clear();
    struct Slip {
        std::string typed, meant;
    };
    const Slip slips[] = {{"plosts.csv", "plots.csv"},
                          {"plots", "plots.csv"},
                          {"PLOTS.csv", "plots.csv"},
                          {"plots.csvv", "plots.csv"},
                          {"trial.csv", "trial.tsv.gz"},
                          {"redme.txt", "readme.txt"},
                          {"herds.csv", ""}};
    for (const Slip& slip : slips) {
        CAPTURE(slip.typed);
        host_log().clear();
        CHECK(step.open("'" + step.path(slip.typed) + "'") == nullptr);
        REQUIRE(host_log().entries().size() == 1);
        CHECK(host_log().entries()[0].suggest ==
              (slip.meant.empty() ? std::string() : "'" + step.path(slip.meant) + "'"));
    }
}

TEST_CASE("a file that is not there is looked for beside the program, and its name is suggested as a text") {
    const Folder folder;
    folder.write("farm's.csv", "y,x\n1,2\n");
    folder.write("bad.vek", "proc vek data=\"farms.csv\"; model y=x; run;\n");
    CommandLine command;
    command.programs = {folder.path() + "/bad.vek"};
    command.quiet = true;
    command.log = folder.path() + "/log";
    session().reset_for_test();
    CHECK(session().run(command) == 1);
    REQUIRE(host_log().error_count() == 1);
    CHECK(host_log().entries()[0].suggest == "'farm''s.csv'");
    session().reset_for_test();
}

TEST_CASE("what cannot be opened: a folder, a file that is not there, a name that nothing has") {
    DataStep step;
    CHECK(step.open("'" + step.folder() + "'") == nullptr);
    CHECK(step.open("'" + step.path("none.csv") + "'") == nullptr);
    CHECK(step.open("none_of_this_name") == nullptr);
    CHECK(open_last({"test.vek", 3, 1, 4}) == nullptr);
    CHECK(log_numbers() == "910/21 910/23@1 910/22@1 910/26@3");
}

TEST_CASE("a device is read to its end, and can be read again") {
    DataStep step;
    const std::string fifo = step.path("pipe");
    const std::string command = "mkfifo '" + fifo + "' && (printf 'a,y\\n1,2\\n3,4\\n' > '" + fifo + "' &)";
    REQUIRE(std::system(command.c_str()) == 0);
    DataSet* data = step.open("'" + fifo + "'");
    CHECK(joined(all_rows(data)) == "1 2; 3 4");
    xbyrwnd(data);
    CHECK(joined(group_rows(data)) == "1 2; 3 4");
}

TEST_CASE("index of delimiters: the vector routine and the plain one agree on any bytes") {
    std::mt19937_64 random(11);
    static constexpr std::string_view characters = "aaaaaaa12345678,,,,\n\n\"\"\r\xC3\0 ";
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        // Few quotes in some texts, many in others.
        const std::size_t kinds = round % 3 == 0 ? 19 : round % 3 == 1 ? 21 : characters.size();
        for (auto left = random() % 400; left > 0; --left) text += characters[random() % kinds];
        const std::size_t size = text.size();
        text.append(64, ',');
        std::vector<std::uint32_t> ends(size + 16), plain_ends(size + 16);
        const IndexFacts facts = index_routine()(text.data(), size, ',', ends.data());
        const IndexFacts plain = plain_index_routine()(text.data(), size, ',', plain_ends.data());
        ends.resize(facts.delimiters);
        plain_ends.resize(plain.delimiters);
        REQUIRE(ends == plain_ends);
        REQUIRE(facts.line_ends == plain.line_ends);
        REQUIRE(facts.line_feeds == plain.line_feeds);
        REQUIRE(facts.quotes == plain.quotes);
        REQUIRE(facts.in_quotes == plain.in_quotes);
        REQUIRE(facts.returns == plain.returns);
        REQUIRE(facts.zero == plain.zero);
        REQUIRE(facts.beyond_ascii == plain.beyond_ascii);
        const bool last_byte = size > 0 && text[size - 1] == '\r';
        if (!last_byte) REQUIRE(facts.lone_return == plain.lone_return);
    }
}

namespace {

/// A random file of many blocks, with the cells that it holds and the lines of its rows.
struct Written {
    std::string bytes;
    std::vector<std::string> rows;
};

Written random_file(std::mt19937_64& random, bool quotes, bool returns, bool blanks, int rows) {
    Written file;
    file.bytes = "id,t,x\n";
    std::int64_t line = 2;
    for (int i = 0; i < rows; ++i) {
        if (blanks && random() % 50 == 0) file.bytes += returns ? "\r\n" : "\n", ++line;
        std::string text = "t" + std::to_string(random() % 100000), field = text;
        const std::int64_t begin = line;
        if (quotes && random() % 4 == 0) {
            text += random() % 2 == 0 ? ",\"q" : "\nline";
            field = "\"";
            for (const char c : text) field += c == '"' ? "\"\"" : std::string(1, c);
            field += '"';
            if (text.find('\n') != std::string::npos) ++line;
        } else if (random() % 30 == 0) {
            text.assign(random() % 3 == 0 ? 3000 : 40, 'w');
            field = text;
        }
        const std::string x =
            random() % 10 == 0 ? "" : std::to_string(static_cast<int>(random() % 2000) - 1000) + ".25";
        file.bytes += std::to_string(i) + "," + field + "," + x + (returns ? "\r\n" : "\n");
        file.rows.push_back(std::to_string(begin) + ":" + std::to_string(i) + " |" + text + "| " +
                            (x.empty() ? "." : x));
        ++line;
    }
    return file;
}

}  // namespace

TEST_CASE("files of many blocks: rows across block borders, quotes, CRLF and blank lines lose nothing") {
    std::mt19937_64 random(5);
    for (int kind = 0; kind < 8; ++kind) {
        CAPTURE(kind);
        const Written file = random_file(random, (kind & 1) != 0, (kind & 2) != 0, (kind & 4) != 0, 12000);
        REQUIRE(file.bytes.size() > 3 * block_bytes);
        DataStep step;
        for (const char* name : {"d.csv", "d.csv.gz"}) {
            const bool packed = std::string_view(name).ends_with("gz");
            DataSet* data = step.open_bytes(packed ? gzip(file.bytes) : file.bytes, "", name);
            const std::vector<std::string> rows = all_rows(data, true);
            REQUIRE(rows.size() == file.rows.size());
            const auto wrong = std::mismatch(rows.begin(), rows.end(), file.rows.begin());
            if (wrong.first != rows.end()) CHECK(*wrong.first == *wrong.second);
            CHECK(xoinfo(data, 9) == static_cast<std::int64_t>(rows.size()));
        }
        CHECK(log_numbers() == "");
    }
}

TEST_CASE("a row longer than the buffer is read; one longer than the limit is refused") {
    DataStep step;
    const std::string wide(3 * block_bytes, 'w');
    DataSet* data = step.open_bytes("t,y\n" + wide + ",1\na,2\n");
    CHECK(joined(all_rows(data)) == "|" + wide + "| 1; |a| 2");
    CHECK(step.open_bytes("t,y\n" + std::string(longest_row + 1, 'w') + ",1\n") == nullptr);
    CHECK(step.open_bytes("t,y\na,1\n\"" + std::string(longest_row + 1, '\n') + "\",1\n") == nullptr);
    CHECK(log_numbers() == "910/9@2 910/4@3");
}

TEST_CASE("a file that changes between validation and reading ends the step instead of giving half the data") {
    for (const char* now : {"a,y\n1,2\n3\n", "a,y\n1,x\n3,4\n", "a,y\n1,2,9\n"}) {
        DataStep step;
        DataSet* data = step.open_bytes("a,y\n1,2\n3,4\n");
        REQUIRE(data != nullptr);
        // The same file is written anew in place.
        std::ofstream(step.path("d.csv"), std::ios::binary | std::ios::trunc) << now;
        CHECK(left_with([&] { all_rows(data); }) == 1020);
        CHECK(log_numbers() == "910/24");
    }
}

TEST_CASE("an unchanged file is not validated again, a changed one is") {
    DataStep step;
    const std::string path = step.write("d.csv", "a,,y\n1,2,3\n");
    CHECK(joined(all_rows(step.open("'" + path + "'"))) == "1 2 3");
    end_step_data();
    begin_step_data();
    CHECK(joined(all_rows(step.open("'" + path + "'"))) == "1 2 3");
    CHECK(log_numbers() == "910/15@1");
    end_step_data();
    begin_step_data();
    step.write("d.csv", "a,,y\n1,2,34\n");
    CHECK(joined(all_rows(step.open("'" + path + "'"))) == "1 2 34");
    CHECK(log_numbers() == "910/15@1 910/15@1");
}
