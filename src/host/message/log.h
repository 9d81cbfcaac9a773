// The log of a run: every note, warning and error, in order, with the place that it is about.
//
// Entries are kept for the JSON document and the exit status; the text form goes out when the session flushes it.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace vek {

enum class Level { note, warning, error };

std::string_view level_name(Level level);

/// A place in a program or a data file. Columns count characters from 1; 0 means that there is none.
struct Place {
    std::string file;  ///< as it is shown; empty when the message is about no place
    int line = 0;
    int column = 0;
    int length = 0;        ///< characters, for a token
    bool in_data = false;  ///< of a data file, whose text form has no column

    bool known() const { return !file.empty(); }
};

struct LogEntry {
    Level level = Level::note;
    int group = 0;
    int number = 0;
    std::string text;
    Place place;
    std::string
        suggest;  ///< text that would mend the message if it stood at the place instead; empty when there is none
    std::string excerpt;  ///< further lines shown under the message: source line with caret, expectation, hint
};

class Log {
  public:
    void add(LogEntry entry);
    const std::vector<LogEntry>& entries() const { return entries_; }
    bool has_error() const { return errors_ > 0; }
    std::size_t error_count() const { return errors_; }

    /// Appends the text form of the entries from `first` on: `FILE:LINE:COLUMN: error: text`, then the excerpt
    /// indented.
    void write_text(std::string* out, std::size_t first = 0) const;

    /// The place that messages of the procedure are about while it works: the statement that is being read or carried
    /// out. An unknown place for none.
    void set_statement(Place place) { statement_ = std::move(place); }
    const Place& statement() const { return statement_; }

    void clear();

  private:
    std::vector<LogEntry> entries_;
    std::size_t errors_ = 0;
    Place statement_;
};

Log& host_log();

/// The text with control characters written as `\x1b`, for listing, page, log and terminal. Only bytes below 32, 127
/// and U+0080 to U+009F are changed.
std::string visible_text(std::string_view text);

}  // namespace vek
