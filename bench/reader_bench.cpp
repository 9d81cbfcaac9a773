// Processor time of the reader for a file: the validating pass, and then a pass that parses columns in blocks as the
// procedure asks for them. Run as
//
//     reader_bench FILE [--by VARIABLE] [--columns N] [--repeat N]
//
// and compare with what the same machine needs only to copy the bytes (the first line that it prints), and with
//     Rscript -e 'data.table::setDTthreads(1); system.time(data.table::fread("FILE"))'
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "frame/host_data.h"
#include "host/data/dataset.h"
#include "host/data/reference.h"
#include "host/message/log.h"
#include "host/session/session.h"

namespace {

double seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

void copy_only(const char* path) {
    std::vector<char> buffer(131072);
    const int file = ::open(path, O_RDONLY);
    const double start = seconds();
    while (::read(file, buffer.data(), buffer.size()) > 0) {
    }
    std::printf("copy the bytes     %.4f s\n", seconds() - start);
    ::close(file);
}

}  // namespace

int main(int count, char** argument) {
    if (count < 2) return 2;
    const char* by = nullptr;
    int columns = 1 << 30, repeat = 3;
    for (int i = 2; i + 1 < count; i += 2) {
        if (std::strcmp(argument[i], "--by") == 0) by = argument[i + 1];
        if (std::strcmp(argument[i], "--columns") == 0) columns = std::atoi(argument[i + 1]);
        if (std::strcmp(argument[i], "--repeat") == 0) repeat = std::atoi(argument[i + 1]);
    }
    copy_only(argument[1]);
    for (int round = 0; round < repeat; ++round) {
        vek::reset_data();
        vek::DataReference reference;
        reference.is_path = true;
        reference.name = argument[1];
        const double start = seconds();
        vek::DataSet* data = vek::open_input(reference);
        if (data == nullptr) {
            std::string text;
            vek::host_log().write_text(&text);
            std::fputs(text.c_str(), stderr);
            return 1;
        }
        const double opened = seconds();
        if (by != nullptr) vek::set_by(data, {{vek::xvfind(data, by), false}}, false, {});
        const int taken = std::min(columns, vek::xvcount(data));
        std::vector<vek::Column> block(static_cast<std::size_t>(taken));
        long rows = 0, groups = 0;
        double checksum = 0;
        while (vek::xbynext(data)) {
            ++groups;
            vek::FetchList* list = vek::xvgeti(data, taken);
            for (int c = 0; c < taken; ++c) vek::xvgetd(list, c);
            vek::xvgete(list);
            while (const int more = vek::xybget(list, block.data())) {
                rows += more;
                checksum += block[0].number != nullptr ? block[0].number[0] : block[0].text[0].length;
            }
            vek::xvgett(list);
        }
        const double read = seconds();
        std::printf(
            "validate           %.4f s\nread %d columns     %.4f s   %ld rows in %ld groups (%g)\ntogether           "
            "%.4f s\n",
            opened - start, taken, read - opened, rows, groups, checksum, read - start);
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    std::printf("peak               %.1f MiB\n", static_cast<double>(usage.ru_maxrss) / 1024);
    return 0;
}
