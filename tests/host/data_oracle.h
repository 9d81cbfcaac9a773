// A second reader of data files, written for plainness alone: one character after the other, every cell a string. The
// real reader is held against it on random files, on the corpus, and by the fuzzer.
#pragma once

#include <string>
#include <string_view>

#include "host/data/data_file.h"

namespace vek::test {

/// Reads bytes in UTF-8 both ways. Empty when they agree, else what is different.
std::string reader_disagreement(std::string_view bytes, const FileForm& form);

}  // namespace vek::test
