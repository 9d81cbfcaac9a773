// Data files that nobody would write: random ones and the fuzzer's corpus, read by the real reader and the plain one.
#include <doctest/doctest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "host/data/row_blocks.h"
#include "host/data_oracle.h"
#include "host/data_support.h"

using namespace vek;
using namespace vek::test;

namespace {

FileForm form_of(unsigned choice) {
    FileForm form;
    form.delimiter = (choice & 1) != 0 ? ';' : ',';
    form.decimal = (choice & 2) != 0 ? ',' : '.';
    return form;
}

/// Pieces that files are made of; the more likely ones stand more often.
std::string random_bytes(std::mt19937_64& random) {
    static const std::vector<std::string> pieces = {"1",
                                                    "2.5",
                                                    "-3",
                                                    "12345678",
                                                    "123456789.5",
                                                    "a",
                                                    "abc",
                                                    "NA",
                                                    ".",
                                                    "",
                                                    "",
                                                    ",",
                                                    ",",
                                                    ",",
                                                    ",",
                                                    ";",
                                                    "\n",
                                                    "\n",
                                                    "\n",
                                                    "\r\n",
                                                    "\"",
                                                    "\"",
                                                    "\"x\"",
                                                    "\"a,b\"",
                                                    "\"a\"\"b\"",
                                                    "\"a\nb\"",
                                                    " ",
                                                    "\t",
                                                    "1e5",
                                                    "1e400",
                                                    "0,5",
                                                    "1.234,5",
                                                    ".A",
                                                    "\xC3\xA4",
                                                    "\xE4",
                                                    "\r",
                                                    std::string(1, '\0'),
                                                    "Inf"};
    const std::size_t tame = random() % 3 == 0 ? pieces.size() : 29;
    const int columns = static_cast<int>(random() % 4) + 1;
    std::string bytes;
    for (int c = 0; c < columns; ++c) bytes += (c == 0 ? "n" : ",n") + std::to_string(c);
    bytes += "\n";
    const bool regular = random() % 2 == 0;
    for (auto rows = random() % 12; rows > 0; --rows) {
        if (regular) {
            for (int c = 0; c < columns; ++c) {
                if (c > 0) bytes += ",";
                const std::string& piece = pieces[random() % 11];
                bytes += random() % 6 == 0 ? "\"" + piece + "\"" : piece;
            }
            bytes += random() % 20 == 0 ? "\r\n" : "\n";
        } else {
            for (auto left = random() % 8; left > 0; --left) bytes += pieces[random() % tame];
        }
    }
    // A slip here and there.
    if (random() % 4 == 0 && !bytes.empty()) bytes[random() % bytes.size()] = static_cast<char>(random());
    return bytes;
}

std::string escaped(const std::string& bytes) { return visible_text(bytes); }

}  // namespace

TEST_CASE("random files: the reader and the plain reader agree on what is refused and on every cell") {
    std::mt19937_64 random(17);
    int good = 0;
    for (int round = 0; round < 15000; ++round) {
        const std::string bytes = random_bytes(random);
        const FileForm form = form_of(round % 5 == 0 ? static_cast<unsigned>(random()) : 0);
        // Blocks of a few rows, so that rows, quotes and line ends lie across their borders.
        set_block_bytes(round % 10 == 0 ? 0 : 24);
        const std::string difference = reader_disagreement(bytes, form);
        if (!difference.empty()) {
            INFO(escaped(bytes));
            CHECK(difference == "");
        }
        good += host_log().has_error() ? 0 : 1;
    }
    set_block_bytes(0);
    host_log().clear();
    CHECK(good > 4000);
}

TEST_CASE("the fuzzer's corpus is read as the plain reader reads it") {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(VEK_TESTS_DIR) + "/host/data/corpus")) {
        std::stringstream bytes;
        bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        for (const std::size_t block : {0, 24}) {
            for (unsigned choice = 0; choice < 4; ++choice) {
                INFO(entry.path().filename());
                set_block_bytes(block);
                CHECK(reader_disagreement(bytes.str(), form_of(choice)) == "");
            }
        }
        ++count;
    }
    set_block_bytes(0);
    host_log().clear();
    CHECK(count > 20);
}
