// Writes the data files of the benchmarks: nine layouts, from two crossed classes over 2,000,000 rows to 100,000 BY
// groups. The same arguments give the same bytes on every machine.
//
//     generate LAYOUT [ROWS] > file.csv      rows default to the size that the comparisons use
//     generate                               lists the layouts
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

/// splitmix64: a full-period stream from any seed.
struct Stream {
    std::uint64_t state;
    std::uint64_t next() {
        std::uint64_t z = (state += 0x9E3779B97F4A7C15U);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }
    int below(int n) { return static_cast<int>((next() >> 33) % static_cast<std::uint64_t>(n)); }
    double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    /// Sum of four uniforms, centred and scaled to variance 1: close enough to normal for data, and the same
    /// everywhere.
    double bell() { return (uniform() + uniform() + uniform() + uniform() - 2) * 1.7320508075688772; }
};

struct Writer {
    std::string line;
    void text(const char* prefix, int number) { line.append(prefix).append(std::to_string(number)).push_back(','); }
    void number(double value, int decimals) {
        char buffer[64];
        const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
        line.append(buffer, end.ptr).push_back(',');
    }
    void end() {
        line.back() = '\n';
        if (line.size() > 1 << 16) flush();
    }
    void flush() {
        std::fwrite(line.data(), 1, line.size(), stdout);
        line.clear();
    }
};

void classes(Writer& out, Stream& random, long rows) {
    out.line = "a,b,x1,x2,y\n";
    for (long i = 0; i < rows; ++i) {
        const int a = random.below(10) * random.below(10) / 9, b = random.below(20);
        const double x1 = random.bell(), x2 = 10 + random.bell();
        out.text("a", a), out.text("b", b), out.number(x1, 4), out.number(x2, 3);
        out.number(100 + 2 * a + 0.5 * b + 0.1 * a * (b % 3) + x1 - 0.5 * x2 + random.bell(), 4), out.end();
    }
}

void manylevels(Writer& out, Stream& random, long rows) {
    out.line = "a,b,y\n";
    for (long i = 0; i < rows; ++i) {
        const int a = random.below(1000), b = random.below(300);
        out.text("a", a), out.text("b", b), out.number(50 + 0.01 * a + 0.02 * b + random.bell(), 4), out.end();
    }
}

void parameters(Writer& out, Stream& random, long rows) {
    out.line = "a,b,y\n";
    for (long i = 0; i < rows; ++i) {
        const int a = random.below(1200), b = random.below(799);
        out.text("a", a), out.text("b", b), out.number(20 + 0.01 * a - 0.02 * b + random.bell(), 4), out.end();
    }
}

void regressors(Writer& out, Stream& random, long rows) {
    for (int k = 1; k <= 800; ++k) out.text("x", k);
    out.line += "y\n";
    for (long i = 0; i < rows; ++i) {
        double y = 0;
        for (int k = 0; k < 800; ++k) {
            const double x = random.bell() * 2;
            if (k % 50 == 0) y += x;
            out.number(x, 2);
        }
        out.number(y + random.bell(), 3), out.end();
    }
}

void absorbed(Writer& out, Stream& random, long rows) {
    out.line = "herd,a,x,y\n";
    for (long i = 0; i < rows; ++i) {
        const int herd = static_cast<int>(i / 20), a = random.below(8);
        const double x = random.bell();
        out.text("", herd), out.text("", a), out.number(x, 3), out.number(20 + herd % 7 + a + x + random.bell(), 3);
        out.end();
    }
}

void oneclass(Writer& out, Stream& random, long rows) {
    out.line = "a,y\n";
    for (long i = 0; i < rows; ++i) {
        const int a = random.below(50);
        out.text("a", a), out.number(100 + a + random.bell(), 3), out.end();
    }
}

void means(Writer& out, Stream& random, long rows) {
    out.line = "a,y\n";
    for (long i = 0; i < rows; ++i) {
        const int a = static_cast<int>(i % 60);
        out.text("t", a), out.number(100 + a * 0.1 + random.bell(), 5), out.end();
    }
}

void responses(Writer& out, Stream& random, long rows) {
    out.line = "group,";
    for (int k = 1; k <= 24; ++k) out.text("y", k);
    out.line.back() = '\n';
    for (long i = 0; i < rows; ++i) {
        const int group = random.below(4);
        const double subject = random.bell();
        out.text("g", group);
        for (int k = 0; k < 24; ++k) out.number(50 + subject + group + 0.1 * k + random.bell(), 2);
        out.end();
    }
}

void bygroups(Writer& out, Stream& random, long rows) {
    out.line = "block,a,y\n";
    for (long i = 0; i < rows; ++i) {
        const int a = static_cast<int>(i % 4);
        out.text("", static_cast<int>(i / 20)), out.text("", a + 1), out.number(50 + a + random.bell(), 3), out.end();
    }
}

struct Layout {
    const char* name;
    long rows;
    void (*write)(Writer&, Stream&, long);
    const char* what;
};
constexpr Layout layouts[] = {
    {"classes", 2000000, classes, "classes of 10 and 20 levels with unequal cells, two covariates, a response"},
    {"manylevels", 200000, manylevels, "classes of 1,000 and 300 levels"},
    {"parameters", 20000, parameters, "classes of 1,200 and 799 levels, few rows a level"},
    {"regressors", 50000, regressors, "800 regressors"},
    {"absorbed", 1000000, absorbed, "50,000 groups of 20 rows in order, a class of 8, a covariate"},
    {"oneclass", 5000000, oneclass, "a class of 50 levels"},
    {"means", 720, means, "60 groups of 12"},
    {"responses", 20000, responses, "24 responses of subjects in 4 groups"},
    {"bygroups", 2000000, bygroups, "BY groups of 20 rows, one class of 4"},
};

}  // namespace

int main(int count, char** argument) {
    for (const Layout& layout : layouts) {
        if (count < 2) {
            std::printf("%-12s %9ld rows  %s\n", layout.name, layout.rows, layout.what);
        } else if (std::strcmp(argument[1], layout.name) == 0) {
            Writer out;
            Stream random{20240229};
            layout.write(out, random, count > 2 ? std::atol(argument[2]) : layout.rows);
            out.flush();
            return 0;
        }
    }
    return count < 2 ? 0 : 2;
}
