// What statements leave in their records, as the trace of the statement loop shows them: option bits, then each given
// slot with its number. Variables of the data set TRIAL by number: yield 0, y1 to y3 1 to 3, x1 to x3 4 to 6, dose 7,
// plots 8, 'time cost'n 9, block 10, variety 11.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "support/program_support.h"

using namespace vek;
using namespace vek::test;

namespace {

/// The record that the last good statement of a step left. The step is not run: it ends with a mistake of its own.
std::string record_of(const std::string& statements, const std::string& proc = "PROC VEK DATA=TRIAL;") {
    std::string last;
    for (const LogEntry& entry : run_text(proc + statements + " not_a_statement;")) {
        if (entry.text.starts_with("SEM ")) last = entry.text.substr(4);
        const bool own = entry.text.find("not_a_statement") != std::string::npos;
        if (entry.level == Level::error && !own) last = "error: " + entry.text;
    }
    return last;
}

struct Row {
    const char* statement;
    const char* record;
};

void check(const std::string& before, std::initializer_list<Row> rows) {
    for (const Row& row : rows) {
        CAPTURE(row.statement);
        CHECK(record_of(before + row.statement) == row.record);
    }
}

const std::string model = "CLASS block variety dose; MODEL y1-y2 = block|variety dose x1 x1*x1 x2(block);";

}  // namespace

TEST_CASE("records: PROC") {
    struct ProcRow {
        const char* proc;
        const char* record;
    };
    const ProcRow rows[] = {
        {"PROC VEK DATA=TRIAL;", "PROC | 11: input"},
        {"proc anova data=TRIAL multipass manova noprint debug;", "PROC bits 1 2 3 4 5 | 11: input"},
        {"PROC VEK ORDER=formated NAMELEN=200 ALPHA=.1 ALPHA=0.2 DATA=TRIAL;",
         "PROC | 10: \"FORMATTED\" | 11: input | 13: 0.2 | 16: 200"},
        {"PROC VEK DATA=TRIAL OUTSTAT=stats ORDER=FREQ;", "PROC | 10: \"FREQ\" | 11: input | 12: output"},
    };
    for (const ProcRow& row : rows) CHECK(record_of("", row.proc) == row.record);
}

TEST_CASE("records: list statements write into the PROC record, with every form of a variable list") {
    check("", {
                  {"CLASS block variety; CLASSES dose block;", "PROC | 2: 10 11 7 | 11: input"},
                  {"ID y1-y3 y:;", "PROC | 7: 1 2 3 0 | 11: input"},
                  {"ID x2--x2;", "PROC | 7: 5 | 11: input"},
                  {"ID Y1--x1;", "PROC | 7: 1 2 3 4 | 11: input"},
                  {"ID dose-numeric-variety;", "PROC | 7: 7 8 9 | 11: input"},
                  {"ID plots-CHAR-variety x:;", "PROC | 7: 10 11 4 5 6 | 11: input"},
                  {"CLASS _character_;", "PROC | 2: 10 11 | 11: input"},
                  {"ABSORB _NUMERIC_;", "PROC | 9: 0 1 2 3 4 5 6 7 8 9 | 11: input"},
                  {"ABSORB _ALL_;", "PROC | 9: 0 1 2 3 4 5 6 7 8 9 10 11 | 11: input"},
                  {"ABSORB 'TIME Cost'n;", "PROC | 9: 9 | 11: input"},
                  {"FREQ plots; WEIGHTS x1;", "PROC | 5: 8 | 6: 4 | 11: input"},
                  {"FREQUENCY plots; FREQ x1;", "PROC | 5: 8 4 | 11: input"},
                  {"BY NOTSORTED block DESCENDING x1-x2 dose NOTSORTED;", "PROC | 0: 10 4 5 7 | 11: input"},
              });
}

TEST_CASE("records: MODEL, and the effects that bars, dashes and nesting expand to") {
    check("CLASS block variety dose;",
          {
              {"MODEL yield = ;", "MODEL | 4: 0"},
              {"MODEL = block;", "MODEL | 5: block"},
              {"MODEL yield=block|variety|dose;",
               "MODEL | 4: 0 | 5: block variety block*variety dose block*dose variety*dose block*variety*dose"},
              {"MODEL yield=block|variety|dose@2;",
               "MODEL | 4: 0 | 5: block variety block*variety dose block*dose variety*dose"},
              // A nested factor: a variable that is both crossed and nested makes no term.
              {"MODEL yield=block|variety(block);", "MODEL | 4: 0 | 5: block variety(block)"},
              {"MODEL yield=block(dose)|variety(dose);",
               "MODEL | 4: 0 | 5: block(dose) variety(dose) block*variety(dose)"},
              {"MODEL yield=block(dose)|variety;", "MODEL | 4: 0 | 5: block(dose) variety block*variety(dose)"},
              {"MODEL yield=block|block;", "MODEL | 4: 0 | 5: block"},
              {"MODEL yield=x1|x1|x1;", "MODEL | 4: 0 | 5: x1 x1*x1 x1*x1*x1"},
              {"MODEL yield=x1|x2@1 x1*x2;", "MODEL | 4: 0 | 5: x1 x2 x1*x2"},
              {"MODEL yield=block block|variety block;", "MODEL | 4: 0 | 5: block variety block*variety"},
              // The same variables in another order have their columns in another order.
              {"MODEL yield=block*variety variety*block;", "MODEL | 4: 0 | 5: block*variety variety*block"},
              {"MODEL yield=block*variety variety|block;", "MODEL | 4: 0 | 5: block*variety variety block"},
              {"MODEL yield=block*variety(dose) x1*block x2(block variety) X3*x1*dose;",
               "MODEL | 4: 0 | 5: block*variety(dose) x1*block x2(block variety) x3*x1*dose"},
              {"MODEL yield=x1-x3 dose--block;", "MODEL | 4: 0 | 5: x1 x2 x3 dose plots time cost block"},
              {"MODEL yield=x1-x2|dose;", "MODEL | 4: 0 | 5: x1 x2 x1*x2 dose x1*dose x2*dose x1*x2*dose"},
              {"MODEL yield=_CHAR_;", "MODEL | 4: 0 | 5: block variety"},
              {"MODEL y1-y3 yield=Block / NOINT EST EBASIS E1 E2 E3 E4 SS1 SS2 SS3 SS4;",
               "MODEL bits 1 2 3 4 5 6 7 8 9 10 11 | 4: 1 2 3 0 | 5: block"},
              {"MODEL yield=block/X SOLUTION PREDICTED CLM CLI TOLERANCE I NOUNI INTERCEPT ALIASING CLPARM;",
               "MODEL bits 12 13 14 15 16 17 18 19 20 21 22 | 4: 0 | 5: block"},
              {"MODEL yield=block/ALPHA=0.01 EPSILON=1E-7 ZETA=1;",
               "MODEL | 1: 0.01 | 2: 1e-07 | 3: 1 | 4: 0 | 5: block"},
          });
    CHECK(record_of("CLASS block; MODEL yield=block*x1*'time cost'n;", "PROC VEK DATA=TRIAL NAMELEN=20;") ==
          "MODEL | 4: 0 | 5: block*x1*time cost");
    CHECK(record_of("CLASS block variety; MODEL yield=block*variety*x1*x2;", "PROC VEK DATA=TRIAL NAMELEN=20;") ==
          "MODEL | 4: 0 | 5: block*variety*x1*x2");
    CHECK(record_of("CLASS block variety; MODEL yield=block*variety*x1*x2*x3;") ==
          "MODEL | 4: 0 | 5: block*variety*x1*x2*");
}

TEST_CASE("records: CONTRAST, ESTIMATE and TEST") {
    check(model,
          {
              {"CONTRAST 'a' block 1 -1;", "CONTRAST | 1: block | 2: 1 -1 | 3: 2 | 4: 1 | 5: \"a\""},
              {"CONTRAST 'it''s' block 1 + -1 variety*block .5, INTERCEPT +2, x1 1 / E EST ETYPE=2 SINGULAR=.1;",
               "CONTRAST bits 1 | 1: block block*variety Intercept x1 | 2: 1 -1 0.5 2 1 | 3: 2 1 1 1 | 4: 2 1 1 | 5: "
               "\"it's\" | 7: 2 | 8: 0.1"},
              {"CONTRAST 'a' block 1 / E=variety*block;",
               "CONTRAST | 1: block | 2: 1 | 3: 1 | 4: 1 | 5: \"a\" | 6: block*variety"},
              {"ESTIMATE '' block 1 x2(block) 1 1 / E DIVISOR=-3 EPSILON=0;",
               "ESTIMATE bits 1 | 1: block x2(block) | 2: 1 1 1 | 3: 1 2 | 4: -3 | 5: \"\" | 6: 0"},
              {"TEST H=block|variety E=x1 / HTYPE=1 ETYPE=3;",
               "TEST | 1: 1 | 2: 3 | 3: block variety block*variety | 4: x1"},
          });
}

TEST_CASE("records: of two effects with the same variables the one written in the same order is meant") {
    check("CLASS block variety; MODEL y1 = block*variety variety*block;",
          {
              {"CONTRAST 'a' variety*block 1;", "CONTRAST | 1: variety*block | 2: 1 | 3: 1 | 4: 1 | 5: \"a\""},
              {"CONTRAST 'a' block*variety 1;", "CONTRAST | 1: block*variety | 2: 1 | 3: 1 | 4: 1 | 5: \"a\""},
          });
}

TEST_CASE("records: MANOVA and REPEATED") {
    check(
        model,
        {
            {"MANOVA;", "MANOVA"},
            {"MANOVA H=_ALL_ / PRINTH PRINTE CAN SHORT ORTH SUMMARY HTYPE=1 ETYPE=2;",
             "MANOVA bits 1 2 3 4 5 6 7 | 1: 1 | 2: 2"},
            {"MANOVA H=INTERCEPT block E=variety M=y1-y2 MNAMES=d1-d2 e PREFIX=z;",
             "MANOVA | 3: Intercept block | 4: variety | 5: -1 1 -2 2 | 6: 1 1 | 7: d1 d2 e | 8: z"},
            {"MANOVA M=-2*y1+y2, 0.5*y1;", "MANOVA | 5: -2 1 -1 2 -3 -1 1 | 6: 2 1 0.5"},
            {"MANOVA M=(1 -1) M=y1-y2;", "MANOVA | 5: -1 1 -2 2 | 6: 1 1"},
            {"MANOVA M=(1 -1, 0 +2) MNAME=a;", "MANOVA bits 8 | 5: 0 0 -3 0 0 | 6: 1 -1 0 2 | 7: a"},
            {"REPEATED time;", "REPEATED | 1: time | 2: 0 | 4: 0 | 5: 2 | 6: 0"},
            {"REPEATED;", "REPEATED"},
            {"REPEATED t 3 (1 2 4) POLYNOMIAL, u 2 CONTRAST(1), v MEAN, w 5 (1 TO 9 BY 2) HELMERT / PRINTM UONLY "
             "MONLY CANON MEAN HTYPE=3 ETYPE=1;",
             "REPEATED bits 5 7 8 9 10 | 1: t u v w | 2: 3 2 0 5 | 3: 1 2 4 1 3 5 7 9 | 4: 3 0 0 5 | 5: 0 2 4 3 | 6: 1 "
             "0 | 7: 3 | 8: 1"},
            // Ranges of numbers fall where the last one is smaller; what a sum of steps loses to rounding is no step
            // less.
            {"REPEATED t (1 TO 15 BY WEEK, 3 TO 1) MEAN, u (3 TO 4 BY DAY, 0.1 TO 0.3 BY 0.1, 7 TO 7);",
             "REPEATED | 1: t u | 2: 0 0 | 3: 1 8 15 3 2 1 3 4 0.1 0.2 0.30000000000000004 7 | 4: 6 6 | 5: 4 2 "
             "| 6: 0 0"},
            {"REPEATED t 32767;", "REPEATED | 1: t | 2: 32767 | 4: 0 | 5: 2 | 6: 0"},
            {"REPEATED t PROFILE, u IDENTITY / SUMMARY PRINTH PRINTE SHORT PRINTRV;",
             "REPEATED bits 1 2 3 4 6 | 1: t u | 2: 0 0 | 4: 0 0 | 5: 1 5"},
        });
}

TEST_CASE("records: a regressor may be called like an option") {
    const Folder folder;
    const std::string proc = "PROC VEK DATA='" + folder.write("d.csv", "y,a,alpha\n1,p,1\n2,q,3\n") + "';";
    CHECK(record_of("CLASS a; MODEL y = a alpha; LSMEANS a / AT alpha=2;", proc) ==
          "LSMEANS bits 11 | 2: a | 18: 2 | 19: 2");
    // Where no variable is called so, the option follows AT, which takes the means.
    CHECK(record_of(model + "LSMEANS block / AT ALPHA=.2 CL;") == "LSMEANS bits 7 11 | 2: block | 8: 0.2");
}

TEST_CASE("records: MEANS") {
    check(model,
          {
              {"MEANS block variety block / DEPONLY LINE CLDIFF PLOT CLM NOSORT DUNCAN WALLER SNK LSD GT2;",
               "MEANS bits 1 5 6 7 8 9 10 11 12 13 14 | 7: block variety block"},
              {"MEAN block*variety/SCHEFFE TUKEY BON SIDAK REGWF REGWQ PERITZF PERITZQ GABRIEL WELCH;",
               "MEANS bits 15 16 17 18 19 20 21 22 23 28 | 7: block*variety"},
              {"MEANS block / DUNNETT('B 1' red) DUNNETTU DUNNETTL(\"B2\",'a text of more than sixteen characters') "
               "KRATIO=2;",
               "MEANS bits 24 25 26 | 2: 2 | 7: block | 9: 'B 1' 'red' | 11: 'B2' 'a text of more t'"},
              {"MEANS block / HOVTEST;", "MEANS bits 27 | 7: block"},
              {"MEANS block / HOVTEST=LV(TYPE=SQUARE) E=variety ETYPE=1 HTYPE=2 EPSILON=.5 ALPHA=.1 HOVOUT=o;",
               "MEANS bits 27 29 | 1: 0.1 | 3: 0.5 | 5: 1 | 6: 2 | 7: block | 8: variety | 12: output | 14: 2"},
              {"MEANS block / HOVTEST=OB(W=.2) ERROR=block*variety;",
               "MEANS bits 27 31 | 7: block | 8: block*variety | 13: 0.2"},
              {"MEANS block / HOVTEST=BF(SCALE) HOVTEST=MBF(SCALE) HOVTEST=BAR(EXACT);",
               "MEANS bits 27 30 32 33 35 36 37 | 7: block"},
          });
}

TEST_CASE("records: LSMEANS, RANDOM and OUTPUT") {
    check(
        model,
        {
            {"LSMEANS / E;", "LSMEANS bits 1"},
            {"LSMEAN block / S PDIFF TDIFF COV NOPRINT CL OM BYLEVEL E=variety ETYPE=1 ALPHA=.1 SINGULAR=0 OUT=o;",
             "LSMEANS bits 2 3 4 5 6 7 8 9 | 2: block | 3: 0 | 4: variety | 5: 1 | 6: output | 8: 0.1"},
            // One effect: all texts belong to its one control.
            {"LSMEANS block / PDIFF=CONTROL('1','2');", "LSMEANS bits 3 | 2: block | 7: -2 | 11: '1' '2' | 20: 2"},
            {"LSMEANS block block*variety / T=CONTROLL('B1', 'B1' 'red');",
             "LSMEANS bits 4 | 2: block block*variety | 7: -4 | 11: 'B1' 'B1' 'red' | 20: 1 2"},
            {"LSMEANS block / P=ANOM ADJ=BONFERRONI;", "LSMEANS bits 3 | 2: block | 7: -5 | 10: -1"},
            {"LSMEANS block / ADJUST=EXACT AT MEANS;", "LSMEANS bits 11 | 2: block | 10: 0"},
            {"LSMEANS block / AT MEAN CL;", "LSMEANS bits 7 11 | 2: block"},
            {"LSMEANS block / AT x1=1 TO 3 CL;", "LSMEANS bits 7 11 | 2: block | 18: 4 | 19: 1 2 3"},
            {"LSMEANS block / AT (x1 x2)=(1, -2.5) SLICE=variety SIMPLE=(INTERCEPT block);",
             "LSMEANS bits 11 | 2: block | 18: 4 5 | 19: 1 -2.5 | 21: variety Intercept block"},
            {"LSMEANS block / ADJUST=SIM(PLEV=.5 ACC=.1 NSAMP=10 EPS=.2 TIMEINC=3 SEED=7 CSIZE=9 NOCHUNK BYSEED REPORT "
             "CIEXACT CVADJUST);",
             "LSMEANS bits 10 12 13 14 15 | 2: block | 10: -5 | 12: 0.5 | 13: 0.1 | 14: 10 | 15: 0.2 | 16: 3 | 17: 7 | "
             "22: 9"},
            {"RANDOM block variety*block / Q TEST CONTEST;", "RANDOM bits 1 2 3 | 2: block block*variety"},
            {"OUTPUT;", "OUTPUT | 1: output"},
            {"OUTPUT OUT=o P=p1-p2 RESIDUALS=r LCLM=a UCLM=b LCL=c UCL=d / ALPHA=.2;",
             "OUTPUT | 1: output | 2: p1 p2 r a b c d | 3: 0 1 2 3 4 5 | 4: 2 1 1 1 1 1 | 5: 0.2"},
            {"OUTPUT OUT=o P=p08-p10 R=r1-r02;", "OUTPUT | 1: output | 2: p08 p09 p10 r1 r2 | 3: 0 1 | 4: 3 2"},
            {"OUTPUT L95M=a U95M=b L95=c U95=d STDP=e STDR=f STDI=g STUDENT=h COOKD=i H=j PRESS=k RSTUDENT=l DFFITS=m "
             "COVRATIO='n o'n;",
             "OUTPUT bits 1 | 1: output | 2: a b c d e f g h i j k l m n o | 3: 2 3 4 5 6 7 8 9 10 11 12 13 14 15 | 4: "
             "1 1 1 1 1 1 1 1 1 1 1 1 1 1"},
        });
}
