// A data file that has been opened and validated: every row has been read once, so that the names, types and lengths of
// its columns and the number of its rows are known, and nothing that is wrong with its form is left to be found.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame/host_data.h"
#include "host/data/byte_source.h"
#include "host/data/row_blocks.h"

namespace vek {

/// How a file is written, by its ending and the options of the reference.
struct FileForm {
    char delimiter = ',';
    char decimal = '.';
    Encoding encoding;
    bool encoding_given = false;
    std::int64_t skip = 0;  ///< lines in front of the names

    bool operator==(const FileForm&) const = default;
};

/// Comma, or tab for .tsv, .tsv.gz and .tsv.zst.
char delimiter_of_ending(std::string_view path);

struct FileVariable {
    std::string name;
    VariableType type = VariableType::numeric;
    int length = 8;
    std::string first_text;  ///< of a text column: the first field that is no number, cut to what fits in a message
    std::int64_t text_line = 0;
};

struct DataFile {
    std::string shown;  ///< its path as messages name it
    FileForm form;
    Encoding encoding;  ///< that the bytes are in, given or recognised
    FileStamp stamp;
    std::vector<FileVariable> variables;
    std::int64_t rows = 0;
    RowBlocks::Place body;  ///< where the rows begin
    std::unique_ptr<ByteSource> bytes;

    RowForm row_form() const { return {form.delimiter, static_cast<int>(variables.size())}; }
};

/// Opens and validates a file. Null after having reported what is wrong with it.
std::shared_ptr<DataFile> open_data_file(const std::string& path, const std::string& shown, const FileForm& form);
/// The same for bytes that are at hand, under the name `shown`; they must outlive the file.
std::shared_ptr<DataFile> validated_bytes(std::unique_ptr<ByteSource> raw, const std::string& shown,
                                          const FileForm& form);

/// Reports what is wrong with the form of a row.
void report_fault(const std::string& shown, const FileForm& form, int columns, const RowFault& fault);

/// A name with its letters in lower case, as names are compared.
std::string folded_name(std::string_view name);

}  // namespace vek
