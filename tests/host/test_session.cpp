// The program from outside: outputs that go to odd places, options that are refused, signals. Each case is a shell
// command in a folder of its own; tests/programs/commands.cpp has the usual ones.
#include <doctest/doctest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/session/interrupt.h"
#include "host/session/outputs.h"
#include "host/session/session.h"
#include "host/session/spool.h"
#include "support/program_support.h"
#include "support/table_support.h"

using vek::test::Folder;

namespace {

/// $V is the program; `see` is a shell test that must hold afterwards.
struct Case {
    const char* name;
    const char* command;
    int status;
    const char* see;
};

constexpr Case cases[] = {
    // ---- standard output and what stands for it
    {"the log on standard output", "$V -q --log - ok.vek > out", 0, "grep -q '6 rows read' out"},
    {"Markdown on standard output", "$V -q --md - ok.vek > out 2> err", 0, "head -n 1 out | grep -q '^# '"},
    {"the page on standard output", "$V -q --html - ok.vek > out 2> err", 0,
     "head -n 1 out | grep -q DOCTYPE && tail -n 1 out | grep -q '</html>'"},
    {"log and listing both on standard output", "$V --log - ok.vek > out 2> err", 2, "test ! -s out"},
    {"a folder cannot be standard output", "$V -q --csv - ok.vek 2> err", 2, "grep -q -e --csv err && test ! -e ./-"},
    {"nor that of data sets", "$V -q --keep - keep.vek 2> err", 2, "grep -q -e --keep err && test ! -e ./-"},
    {"/dev/stdout is a pipe", "($V -o /dev/stdout ok.vek 2> err; echo $? > status) | cat > out; exit $(cat status)", 0,
     "grep -q 'Class Levels' out"},
    {"/dev/stdout is a file", "$V -q --json /dev/stdout ok.vek > out 2> err", 0, "grep -q '\"exit\": 0' out"},
    {"JSON on a closed standard output", "$V -q --json - --md m ok.vek 2> err >&-", 2,
     "grep -q 'standard output was closed' err && test -s m"},
    {"standard error is closed", "$V -q --json j ok.vek 2>&-", 0, "grep -q 'rows read' j"},
    {"standard input is closed", "$V -q --json j <&- 2> err", 0, "grep -q '\"exit\": 0' j"},
    // ---- files, links, devices
    {"a link to a file that is not there yet", "ln -s real link; $V -o link ok.vek 2> err", 0,
     "test -L link && test -f real && test ! -L real"},
    {"links that end nowhere", "ln -s b a; ln -s a b; $V -o a ok.vek 2> err", 2,
     "grep -q 'a cannot be written' err && test -L a && test -L b"},
    {"a link to a folder", "mkdir d; ln -s d a; $V --html a ok.vek 2> err", 2, "grep -q directory err && test -L a"},
    {"two names of one file", "echo x > a; ln a b; $V --html a --md b ok.vek 2> err", 2,
     "grep -q 'same name' err && grep -qx x a"},
    {"one folder for CSV files and data sets", "$V --csv d --keep d ok.vek 2> err", 2, "grep -q 'same name' err"},
    {"one folder written in two ways", "$V --csv d --keep ./d/ ok.vek 2> err", 2,
     "grep -q 'same name' err && test ! -e d"},
    {"a named pipe", "mkfifo p; cat p > got & $V -o p ok.vek 2> err; s=$?; wait; exit $s", 0,
     "test -p p && grep -q 'Class Levels' got"},
    {"JSON on a full device", "$V -q --json /dev/full ok.vek 2> err", 1, "grep -q 'No space left' err"},
    {"the page on a full device", "$V -q --html /dev/full --json j ok.vek 2> err", 1, "grep -q '\"exit\": 1' j"},
    {"Markdown on a full device", "$V -q --md /dev/full --json j ok.vek 2> err", 1, "grep -q '\"exit\": 1' j"},
    {"a full device as standard output", "$V --json j ok.vek > /dev/full 2> err", 2,
     "grep -q 'standard output could not be written: No space left' err && grep -q NObs j"},
    {"a limit on the size of files is a full disk", "ulimit -f 1; $V -o l many-tables.vek > out 2> err", 1,
     "grep -q 'l could not be written' err && ! test -e l && ! ls -a | grep -q '[.]tmp$'"},
    {"CSV files tell the BY group in their names",
     "printf 'proc vek data=\"plots.csv\"; by variety notsorted; model yield=; run;' > b.vek; "
     "$V -q --csv c b.vek 2> err",
     0, "ls c | grep -q '^001_variety-[a-z0-9]*_Data_NObs.csv$'"},
    {"CSV files that cannot be written are one error",
     "(ulimit -f 0; $V -q --csv c ok.vek; echo $?) 2>&1 | cat > err; exit $(tail -n 1 err)", 1,
     "test $(grep -c 'could not be written' err) = 1 && test -z \"$(ls -A c)\""},
    {"a log that is lost is shown", "$V -q --log /dev/full ok.vek keep.vek 2> err", 1,
     "grep -q 'No space left' err && test $(grep -c '6 rows read' err) = 2"},
    {"CSV files in a folder that is there", "mkdir c; $V -q --csv c ok.vek 2> err", 0,
     "test -s c/001_Data_ClassLevels.csv"},
    {"a folder where nothing can be made", "$V -o /proc/report ok.vek > out 2> err", 2, "test ! -s out"},
    {"nor CSV files", "$V --csv /proc/tables ok.vek > out 2> err", 2, "test ! -s out"},
    {"nor data sets", "$V --keep /proc/sets keep.vek > out 2> err", 2, "test ! -s out"},
    {"a folder for CSV files in one that is not there", "$V --csv no/c ok.vek > out 2> err", 2, "test ! -s out"},
    {"a wrong command line makes no folder", "$V --csv c -o no/l ok.vek 2> err", 2, "test ! -e c"},
    {"all outputs at once", "$V -o l --log g --json j --html p --md m --csv c --keep k keep.vek", 0,
     "test -s l && test -s g && test -s j && test -s p && test -s m && test -s c/001_Data_ClassLevels.csv && "
     "grep -q '^block,variety,yield,p$' k/stats.csv && test -z \"$(ls -A | grep tmp)\""},
    {"older outputs are replaced whole", "yes | head -n 9999 > j; $V -q --json j ok.vek 2> err", 0,
     "head -n 1 j | grep -q tables && ! grep -qx y j"},
    // ---- the command line
    {"an output named twice", "$V -o a -o b ok.vek 2> err", 2, "grep -q 'listing is given twice' err"},
    {"an option that is misspelt", "$V --jsn j ok.vek 2> err", 2,
     "grep -q 'no option .--jsn.; did you mean --json?' err"},
    {"an option without its value", "$V ok.vek --json 2> err", 2, "grep -q 'json needs a path' err"},
    {"a data set under the name of an output",
     "printf 'proc vek data=\"plots.csv\"; class variety; model "
     "yield=variety; output out=\"./j\" p=p; run;' > o.vek; $V -q --json j o.vek 2> err",
     1, "grep -q 'o.vek:1:.*j is an output' err && grep -q '\"exit\": 1' j"},
    {"an empty path", "$V --json '' ok.vek 2> err", 2, "grep -q json err"},
    {"an empty program name", "$V '' 2> err", 2, "grep -q 'cannot be read' err"},
    {"a program that looks like an option", "cp ok.vek ./-x.vek; $V -q --json j -- -x.vek 2> err", 0, "grep -q NObs j"},
    {"a program without end",
     "printf 'proc vek data=\"plots.csv\"; model yield=;run' > e.vek; $V -q --json j e.vek 2> err", 0,
     "grep -q NObs j"},
    {"an empty program", ": > e.vek; $V -q --json j e.vek 2> err", 0, "grep -q '\"tables\": \\[\\]' j"},
    {"two programs are one run", "$V -q --json j keep.vek use.vek 2> err", 0, "grep -q '\"step\": 2' j"},
    {"data named by --data and beside the program",
     "mkdir s; cp plots.csv s/x.csv; echo "
     "\"proc vek data=named; model yield=; run;\" > s/p.vek; $V -q --json j -d named=x.csv s/p.vek 2> err",
     0, "grep -q NObs j"},
    // ---- host options
    {"a host option without name", "$V --option =5 ok.vek 2> err", 2, "grep -q NAME=VALUE err"},
    {"a host option with nothing", "$V --option LINESIZE= ok.vek 2> err", 2, "grep -q NAME=VALUE err"},
    {"a number that is none", "$V --option LINESIZE=wide ok.vek 2> err", 2, "grep -q 'takes a whole number' err"},
    {"NaN is no number", "$V --option LINESIZE=nan ok.vek 2> err", 2, "grep -q 'takes a whole number' err"},
    {"an unknown unit", "$V --option BUDGET=1Q ok.vek 2> err", 2, "grep -q 'takes a number of bytes' err"},
    {"a number below its range", "$V --option BUDGET=-1 ok.vek 2> err", 2, "grep -q range err"},
    {"a switch is 0 or 1", "$V --option INTERACTIVE=2 ok.vek 2> err", 2, "grep -q 'range.*takes 0 or 1' err"},
    {"--option without anything", "$V ok.vek --option 2> err", 2, "grep -q option err"},
    {"the last of two values holds", "$V --option LINESIZE=90 --option linesize=40 ok.vek > out 2> err", 0,
     "test $(wc -L < out) -le 40"},
    // ---- names of data sets that are kept
    {"a name with a slash", "$V -q --keep k names-slash 2> err", 1, "grep -q 'no file name' err && test ! -e k/a"},
    {"a name that leaves the folder", "$V -q --keep k names-dots 2> err", 1,
     "grep -q 'no file name' err && test ! -e evil.csv"},
    {"a name that is a folder", "$V -q --keep k names-dot 2> err", 1, "grep -q 'no file name' err"},
    {"a name with blanks", "$V -q --keep k names-blank 2> err", 0, "test -s 'k/a b.csv'"},
    {"a name like an option", "$V -q --keep k names-dash 2> err", 0, "test -s k/-rf.csv"},
    {"a name in other letters", "$V -q --keep k names-letters 2> err", 0, "test -s k/\u00fc\u540d.csv"},
    // ---- signals: what is finished is out, what is not leaves no trace
    {"SIGINT", "$V -o l two.vek --json j 2> err & p=$!; $WAIT kill -INT $p; wait $p", 130,
     "test ! -e l && test ! -e j && grep -q 'signal 2' err && test -z \"$(ls -A | grep tmp)\""},
    {"SIGHUP", "$V two.vek > out 2> err & p=$!; $WAIT kill -HUP $p; wait $p", 129,
     "grep -q yield out && ! grep -q Means out && test -z \"$(ls -A | grep tmp)\""},
    {"SIGTERM", "$V two.vek --md - -q > out 2> err & p=$!; $WAIT kill -TERM $p; wait $p", 143, "! grep -q Means out"},
};

void write_files(const Folder& folder) {
    folder.write("plots.csv", "block,variety,yield\n1,a,4.5\n1,b,5.5\n2,a,3.9\n2,b,6.1\n3,a,4.2\n3,b,5.0\n");
    const std::string step = "proc vek data='plots.csv'; class variety; model yield=variety;";
    folder.write("ok.vek", step + " run;\n");
    folder.write("keep.vek", step + " output out=stats p=p; run;\n");
    folder.write("use.vek", "proc vek data=stats; model p=; run;\n");
    for (const auto& [file, name] : {std::pair{"slash", "a/b"},
                                     {"dots", "../evil"},
                                     {"dot", ".."},
                                     {"blank", "a b"},
                                     {"dash", "-rf"},
                                     {"letters", "\u00fc\u540d"}}) {
        folder.write(std::string("names-") + file, step + " output out='" + name + "'n p=p; run;\n");
    }
    // The second step has enough levels to be at work when a signal comes; the first one is put out before.
    std::string many = "g,y\n";
    for (int i = 0; i < 900; ++i) many += std::to_string(i) + ",1." + std::to_string(i * 7919 % 997) + "\n";
    folder.write("many.csv", many + many.substr(4));
    std::string two = step + " output out='first.csv' p=p; run; quit;\nproc vek data='many.csv'; class g; model y=g;\n";
    for (int k = 0; k < 30; ++k) two += "means g / snk alpha=0.0" + std::to_string(k + 10) + ";\n";
    folder.write("two.vek", two + "run;\n");
    std::string tables = step;
    for (int k = 0; k < 30; ++k) tables += "means variety / snk alpha=0.0" + std::to_string(k + 10) + ";\n";
    folder.write("many-tables.vek", tables + "run;\n");
}

}  // namespace

TEST_CASE("the program from outside: places of outputs, options, names, signals") {
    for (const Case& one : cases) {
        const std::string about = std::string(one.name) + ": " + one.command;
        CAPTURE(about);
        const Folder folder;
        write_files(folder);
        std::string command = one.command;
        const std::string wait = "until test -e first.csv; do sleep 0.02; done; sleep 0.2;";
        if (const std::size_t at = command.find("$WAIT"); at != std::string::npos) command.replace(at, 5, wait);
        const std::string prologue = "cd '" + folder.path() + "' && V='" VEK_PROGRAM "' && export V && ";
        const int status = std::system((prologue + "(" + command + "\n) > shown 2> complaints < /dev/null").c_str());
        REQUIRE(WIFEXITED(status));
        CHECK(WEXITSTATUS(status) == one.status);
        const int seen = std::system((prologue + "{ " + one.see + "\n} > /dev/null 2>&1").c_str());
        CHECK_MESSAGE(seen == 0, std::string(one.see));
    }
}

TEST_CASE("text that is held back and cut back is what it was, in memory and on disk") {
    const std::string large(3 << 20, 'a');
    struct Case {
        std::vector<std::string> before, behind;
    };
    const Case cases[] = {{{}, {"b"}},           {{"a"}, {"b", "c"}},     {{large}, {"b"}},  {{}, {large, "b"}},
                          {{"a"}, {large, "b"}}, {{large, "b"}, {large}}, {{large, "b"}, {}}};
    for (const Case& one : cases) {
        vek::Spool spool;
        std::string expected;
        for (const std::string& text : one.before) {
            spool.append(text);
            expected += text;
        }
        const auto size = spool.size();
        CHECK(size == static_cast<std::int64_t>(expected.size()));
        for (const std::string& text : one.behind) spool.append(text);
        spool.cut_back(size);
        CHECK(spool.size() == size);
        spool.append("end");
        std::string got;
        spool.pass_on([&](std::string_view part) { got += part; });
        CHECK((got == expected + "end"));
    }
}

TEST_CASE("an interrupt ends the writing of a run group's report, and none of it is left") {
    using namespace vek;
    session().reset_for_test();
    test::TableStep step;
    const auto make_table = [&](const char* name) {
        Table t(step.out, name, name);
        double value = 1.5;
        t.number("Mean", value, 12, 2, {.like = "mean"}).bind("drim.VEK.Means");
        for (int row = 0; row < 40000; ++row) t.row();
        t.end();
    };
    const vek::test::Folder folder;
    CommandLine command;
    command.listing = folder.path() + "/listing";
    command.json = folder.path() + "/json";
    Outputs outputs;
    std::string reason;
    REQUIRE(outputs.open(command, &reason));
    outputs.begin_group();
    make_table("Interrupted");
    raise_pending(SIGINT);
    CHECK_THROWS(outputs.drain());
    clear_signal();
    outputs.take_back();
    tables().cut_back(tables().report().begin());
    outputs.begin_group();
    make_table("Complete");
    outputs.drain();
    outputs.show();
    outputs.finish_report();
    CHECK(outputs.finish_log(0) == 0);
    for (const std::string& path : {command.listing, command.json}) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        CHECK(text.str().find("Interrupted") == std::string::npos);
        CHECK(text.str().find("Complete") != std::string::npos);
    }
}
