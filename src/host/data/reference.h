// Data set references in statements: a quoted path or a name with options in parentheses, and what they open.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "frame/host_data.h"
#include "host/statement/scanner.h"

namespace vek {

struct ReferenceOptions;

/// A data set reference as it stands in a statement. Nothing has been opened yet.
struct DataReference {
    bool is_path = false;  ///< a quoted path; else a name
    std::string name;      ///< the path, or the name as written
    Token token;           ///< of the path or name, for messages
    Place place;           ///< the same as a place
    std::shared_ptr<const ReferenceOptions> options;
};

/// Reads a reference with its options at the cursor. False after having failed the statement.
bool parse_reference(TokenCursor& cursor, DataReference* reference);

/// Opens a data set to read: the file is validated, its variables are known, and every error of form has been found.
/// Null after having reported why not. `cursor` is the statement's, so that errors of the options (an unknown variable
/// in KEEP=, a text compared with a number in WHERE=) point at their token; null reports at the reference's place.
DataSet* open_input(const DataReference& reference, TokenCursor* cursor = nullptr);
/// Opens a data set to write, a file or a name in memory. Null after having reported why not.
DataSet* open_output(const DataReference& reference, TokenCursor* cursor = nullptr);
/// The data set that was made last. Null after having reported at `place` that there is none.
DataSet* open_last(const Place& place);

}  // namespace vek
