// The outside of the program: command lines, outputs and their places, signals. A case is a shell command in a folder
// of its own that holds a program and a small data set, the exit status, and what must be seen afterwards.
#include "commands.h"

#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "case.h"

namespace vek::test {

namespace {

/// $V is the program. The command's own status is compared; `see` is a shell test that must hold afterwards.
struct Command {
    const char* name;
    const char* command;
    int exit;
    const char* see;
};

constexpr Command commands[] = {
    // ---- what the command line says
    {"version and help end well", "$V --version && $V --help > help", 0, "grep -q LINESIZE help && grep -q keep help"},
    {"an unknown option runs nothing", "$V --jsn j.json ok.vek 2> err", 2,
     "grep -q -- --jsn err && ! grep -q rows err"},
    {"data without NAME=", "$V -d plots.csv ok.vek 2> err", 2, "grep -q NAME=VALUE err"},
    {"a data set named twice", "$V -d a=plots.csv -d A=plots.csv ok.vek 2> err", 2, "grep -q twice err"},
    {"a data file that is not there", "$V -d a=no.csv --json j.json ok.vek 2> err", 2,
     "grep -q 'no.csv.*No such file' err && ! test -e j.json"},
    {"a data file that is a folder", "$V -d a=/ ok.vek 2> err", 2, "grep -q directory err"},
    {"a program that is not there", "$V ok.vek no.vek 2> err > out", 2, "grep -q no.vek err && ! test -s out"},
    {"a program that is a folder", "$V . 2> err", 2, "grep -q directory err"},
    {"an unknown host option", "$V --option LINSIZE=80 ok.vek 2> err", 2, "grep -q LINESIZE err"},
    {"a host option outside its range", "$V --option LINESIZE=3 ok.vek 2> err", 2,
     "grep -q 'range.*from 40 to 32767' err"},
    {"a host option with a word that it does not know", "$V --option DEBUG=foo ok.vek 2> err", 2,
     "grep -q 'foo.*LAYOUT, SWEEP' err"},
    {"a size with its unit in OPTIONS", "printf 'OPTIONS BUDGET=1G MEMORY=2g;' | $V - 2> err", 0,
     "! grep -q error err"},
    {"OPTIONS with a mistake sets nothing", "(echo 'OPTIONS LINESIZE=40 DEBUG=foo;'; cat ok.vek) | $V - > out 2> err",
     1, "test $(wc -L < out) -gt 40"},
    {"a host option without a value", "$V --option DEBUG ok.vek 2> err", 2, "grep -q NAME=VALUE err"},
    {"two outputs under one name", "$V -o a --json ./a ok.vek 2> err", 2, "grep -q 'same name' err && ! test -e a"},
    {"two outputs on standard output", "$V --json - ok.vek 2> err > out", 2,
     "grep -q 'same name' err && ! test -s out"},
    {"two outputs through a link", "ln -s a b; $V -o a --log b ok.vek 2> err", 2, "! test -e a"},
    {"an output in a folder that is not there", "$V -o no/a --json j.json ok.vek 2> err", 2,
     "grep -q no/a err && ! test -e j.json"},
    {"an output that is a folder", "mkdir d; $V -o d ok.vek 2> err", 2, "test -d d && grep -q directory err"},
    {"a folder for data sets that is a file", "$V --keep plots.csv ok.vek 2> err", 2, "grep -q 'not a folder' err"},
    {"several outputs may go to the null device",
     "sed 's|run;|output out=\"/dev/null\" p=p; run;|' ok.vek | $V -o /dev/null --log /dev/null", 0, "true"},
    {"the listing is a hundred columns wide where there is no terminal",
     "(echo a,y; for i in $(seq 60); do echo $i,$i; echo $i,1; done) > b.csv; sed 's/plots/b/; s/variety/a/g; "
     "s/yield/y/' "
     "ok.vek | $V > out 2> err",
     0, "test $(wc -L < out) = 100"},
    {"what would mend an error is in the data", "$V -q --json j bad.vek 2> err", 1,
     "grep -q '\"line\": *2, *\"column\": *13, *\"length\": *6, *\"suggest\": *\"variety\"' j"},
    {"an error that nothing is suggested for has no suggestion in the data", "$V -q --json j bad2.vek 2> err", 1,
     "grep -q '\"line\": *1' j && ! grep -q suggest j"},
    // ---- outputs
    {"the listing is standard output, the log standard error", "$V ok.vek > out 2> err", 0,
     "grep -q ClassLevels out || grep -q 'Class Levels' out && grep -q 'rows read' err"},
    {"quiet: no listing", "$V -q ok.vek > out 2> err", 0, "! test -s out && grep -q 'rows read' err"},
    {"JSON on standard output", "$V -q --json - ok.vek 2> err > out", 0, "grep -q '\"exit\": 0' out"},
    {"a program from standard input", "$V -q --json j.json < ok.vek 2> err", 0, "grep -q NObs j.json"},
    {"a program named - from standard input", "$V -q --json j.json - < ok.vek 2> err", 0, "grep -q NObs j.json"},
    {"an output replaces the file behind a link and follows the umask",
     "umask 027; echo old > real; chmod 600 real; ln -s real link; $V -o link ok.vek 2> err", 0,
     "test -L link && grep -q 'Class Levels' real && test $(stat -c %a real) = 640"},
    {"an error writes the outputs, with the error in them", "$V -o l --json j --log g bad.vek", 1,
     "grep -q 'bad.vek:2:.*error' g && grep -q '\"exit\": 1' j && test -e l"},
    {"a step behind an error runs", "$V -q --json j bad-then-ok.vek 2> err", 1, "grep -q NObs j"},
    {"an output may be the input", "cp plots.csv in.csv; $V -q --log in.csv -d a=in.csv ok.vek", 0,
     "grep -q 'rows read' in.csv"},
    {"a full device is an error of the run", "$V -o /dev/full --json j ok.vek 2> err", 1,
     "grep -q 'No space left' err && grep -q '\"exit\": 1' j"},
    {"standard output that is closed does not lose the other outputs", "$V --json j ok.vek 2> err >&-", 2,
     "grep -q NObs j && grep -q .exit.:.2 j"},
    {"a reader that leaves does not lose the other outputs",
     "(until test -e left; do sleep 0.02; done; $V --json j ok.vek 2> err; echo $? > status) | (exec <&-; echo > "
     "left); "
     "exit $(cat status)",
     2, "grep -q '\"exit\": 2' j"},
    {"no temporary file stays", "$V -o l --json j ok.vek 2> err", 0, "! ls -a | grep -q '[.]tmp$'"},
    {"an older file stays whole when the run is stopped",
     "echo old > l; (sleep 0.5) | $V -o l --json j - 2> err & p=$!; sleep 0.2; kill -TERM $p; wait $p", 143,
     "grep -qx old l && ! test -e j && ! ls -a | grep -q '[.]tmp$'"},
    // ---- data sets
    {"a data set of the command line", "$V -q --json j -d trial=plots.csv trial.vek 2> err", 0, "grep -q NObs j"},
    {"data in the current directory go before those beside the program",
     "mkdir sub; cp ok.vek sub; head -n 3 plots.csv > sub/plots.csv; $V -q sub/ok.vek 2> err", 0,
     "grep -q '6 rows read' err"},
    {"a program in another folder finds its data beside it", "mkdir sub; cd sub; $V -q --json j ../ok.vek 2> err", 0,
     "grep -q NObs sub/j"},
    {"a data set of the command line in other letters", "$V -q --json j -d TRIAL=plots.csv trial.vek 2> err", 0,
     "grep -q NObs j"},
    {"a data set by its name too",
     "mkdir sub; sed \"s/'plots.csv'/plots/\" ok.vek > t.vek; cd sub; $V -q --json j ../t.vek 2> err", 0,
     "grep -q data=plots t.vek && grep -q NObs sub/j"},
    {"an error about data has its column in the log as data",
     "printf 'a,y\\n1,5\"\\n' > b.csv; sed s/plots/b/ ok.vek | $V -q --json j 2> err", 1,
     "grep -q '\"file\": *\"b.csv\", *\"line\": *2, *\"column\": *4, *\"length\": *1' j && grep -q '^b.csv:2: error' "
     "err"},
    {"sums beyond the largest number are missing in the tables and an error in the log",
     "printf 'variety,yield\\na,1e308\\na,-1e308\\nb,1.1e308\\nb,1e307\\n' > b.csv; sed s/plots/b/ ok.vek | $V -q "
     "--json j 2> err",
     1, "! grep -q 'null\\|[Ii]nf' j && grep -q '\"group\": *940' j && grep -q 'divide such a variable' err"},
};

void make_files(const std::string& folder) {
    auto file = [&](const char* name, const char* text) { std::ofstream(folder + "/" + name) << text; };
    file("plots.csv", "block,variety,yield\n1,a,4.5\n1,b,5.5\n2,a,3.9\n2,b,6.1\n3,a,4.2\n3,b,5.0\n");
    file("ok.vek", "proc vek data='plots.csv'; class variety; model yield=variety; run;\n");
    file("bad.vek", "proc vek data='plots.csv'; class variety;\nmodel yield=varety; run;\n");
    file("bad-then-ok.vek",
         "proc vek data='plots.csv'; class variety; model yield=varety; run;\n"
         "proc vek data='plots.csv'; class variety; model yield=variety; run;\n");
    file("bad2.vek", "proc vek data='plots.csv'; class zzz; run;\n");
    file("trial.vek", "proc vek data=trial; class block variety; model yield=block variety; run;\n");
}

bool holds(const std::string& folder, const std::string& shell, int expected) {
    const std::string whole = "cd '" + folder + "' && V='" VEK_PROGRAM "' && export V && { " + shell + "\n}";
    const int status = std::system(whole.c_str());
    return WIFEXITED(status) && WEXITSTATUS(status) == expected;
}

}  // namespace

int run_commands() {
    int failed = 0;
    for (const Command& command : commands) {
        const ScratchFolder scratch;
        make_files(scratch.path());
        const std::string quiet = std::string("(") + command.command + ") > shown 2> complaints";
        const bool good = holds(scratch.path(), quiet, command.exit) && holds(scratch.path(), command.see, 0);
        if (good) continue;
        ++failed;
        std::cout << "FAILED " << command.name << "   (all of them: ./dev test commands)\n    " << command.command
                  << "\n    exit " << command.exit << ", then " << command.see << "\n"
                  << contents(scratch.path() + "/complaints") << contents(scratch.path() + "/err");
    }
    std::cout << std::size(commands) << " command lines, " << failed << " failed\n";
    return failed;
}

}  // namespace vek::test
