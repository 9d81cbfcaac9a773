// The outputs of a run: listing, log, JSON document, page, Markdown, and a folder of CSV files. Each is opened before
// anything runs, receives what is ready after each run group, and is put in place, or discarded, at the end. Within a
// run group tables are written as BY groups end, but held back until the run group is done.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "host/session/output_file.h"
#include "host/session/session.h"
#include "host/session/spool.h"
#include "host/table/json_writer.h"
#include "host/table/service.h"

namespace vek {

class Outputs {
  public:
    Outputs() = default;
    Outputs(const Outputs&) = delete;
    Outputs& operator=(const Outputs&) = delete;
    ~Outputs() = default;

    /// Opens everything that the command line names. On failure nothing is left behind and `reason` says why, as one
    /// sentence for the user.
    bool open(const CommandLine& command, std::string* reason);

    /// Writes what has come to the log and the report since the last call.
    void show();

    /// A run group begins: the tables that come can be taken back until show() is called.
    void begin_group();
    /// Writes the complete tables of the run group and gives back their memory; nobody sees them yet. It polls: an
    /// interrupt leaves it, and what it has written has to be taken back.
    void drain();
    /// Takes back what has been written since begin_group().
    void take_back();

    /// Writes what has come to the log alone.
    void show_log_only() { show_log(); }

    /// Completes the listing, and writes the forms that are made from the whole report at its end. Failures become
    /// errors of the log.
    void finish_report();
    /// Completes JSON and log, which tell the exit status; the status itself, changed when one of them could not be
    /// completed.
    int finish_log(int status);
    /// Drops every output that is not in place; what standard error has had stays.
    void discard();

    /// True when `path` is a file that the command line names as an output, so that no data set can have it too.
    bool names(const std::string& path) const;

    /// True when standard output was closed, or its reader left, before all was written.
    bool standard_output_lost() const { return lost_; }

  private:
    /// An output and the part of it that is held back.
    struct Held {
        OutputFile file;
        Spool text;
    };

    void show_log();
    void write_tables();
    void hold(Held* output, std::string_view text);
    void write_form(Held* output, const std::function<void(const TextSink&)>& render);
    void pass_on(Held* output);
    void write_page();
    void write_csv_folder();
    void write_json_end(int status);
    void give_up(Held* output);
    void check(Held* output);
    void check(OutputFile* file);
    void tell_failure(const OutputFile& file);
    bool commit(OutputFile* file);
    int line_width() const;

    Held listing_, json_file_, page_, markdown_;
    OutputFile log_;
    std::string csv_folder_;
    std::unique_ptr<JsonWriter> json_;
    JsonWriter::Place json_place_;                ///< at the beginning of the run group
    std::int64_t json_held_ = 0, page_held_ = 0;  ///< lengths at the beginning of the run group
    bool json_at_once_ = false;                   ///< tables go to the JSON document as run groups end
    bool log_to_error_ = true;
    bool lost_ = false;
    bool draining_ = false;
    std::size_t logged_ = 0;
};

}  // namespace vek
