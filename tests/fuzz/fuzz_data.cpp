// The reader of data files under libFuzzer: its first byte chooses the form, the rest is a file, which the reader and
// the plain one of the tests must read alike. tests/host/data/corpus is where to begin, and where what it finds is
// kept.
//
//     cmake -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DVEK_FUZZ=ON && cmake --build build-fuzz --target fuzz_data
//     build-fuzz/tests/fuzz/fuzz_data -max_len=400 FOLDER tests/host/data/corpus
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/data/row_blocks.h"
#include "host/data_oracle.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    for (unsigned choice = 0; choice < 4; ++choice) {
        vek::FileForm form;
        form.delimiter = (choice & 1) != 0 ? ';' : ',';
        form.decimal = (choice & 2) != 0 ? ',' : '.';
        vek::set_block_bytes(choice % 2 == 0 ? 24 : 4096);
        const std::string difference = vek::test::reader_disagreement(bytes, form);
        if (difference.empty()) continue;
        std::fprintf(stderr, "choice %u: %s\n", choice, difference.c_str());
        std::abort();
    }
    return 0;
}
