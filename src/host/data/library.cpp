// Keeps what outlives a step (data sets in memory, validated files) and what ends with it, and puts outputs in place at
// the ends of run groups.
#include "host/data/library.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>

#include "host/message/catalogue.h"
#include "host/session/output_file.h"

namespace vek {

namespace {

struct KnownFile {
    std::string path;
    std::shared_ptr<DataFile> file;
};

struct State {
    std::vector<MadeDataSet> made;  ///< in the order in which they were made first
    int last = -1;                  ///< the one made last
    std::vector<KnownFile> files;
    std::vector<std::unique_ptr<DataSet>> open;
};

State& state() {
    static State the_state;
    return the_state;
}

bool unchanged(const std::string& path, const DataFile& file) {
    if (!file.stamp.regular) return true;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return false;
    const FileStamp now{status.st_dev,         status.st_ino,          status.st_size,
                        status.st_mtim.tv_sec, status.st_mtim.tv_nsec, S_ISREG(status.st_mode)};
    return now == file.stamp;
}

void remember_made(MadeDataSet made) {
    State& s = state();
    const std::string folded = folded_name(made.name);
    for (std::size_t i = 0; i < s.made.size(); ++i) {
        const bool same = made.is_path ? s.made[i].is_path && s.made[i].name == made.name
                                       : !s.made[i].is_path && folded_name(s.made[i].name) == folded;
        if (!same) continue;
        s.made[i] = std::move(made);
        s.last = static_cast<int>(i);
        return;
    }
    s.made.push_back(std::move(made));
    s.last = static_cast<int>(s.made.size()) - 1;
}

/// Puts one complete output in place; false after having reported why not.
bool put_in_place(DataSet* data) {
    if (!data->writer->commit()) {
        report(910, 43, arguments(data->shown, data->writer->error()), {});
        return false;
    }
    MadeDataSet made;
    made.is_path = !data->in_memory;
    made.name = data->name;
    made.form = data->form;
    made.table = data->writer->table();
    remember_made(std::move(made));
    return true;
}

/// "lines 3, 7, 9, ..." for a loss.
std::string lines_text(const Loss& loss, bool in_memory) {
    std::string text = in_memory ? "row" : "line";
    if (loss.rows > 1) text += "s";
    for (std::size_t i = 0; i < loss.lines.size(); ++i) {
        text += (i == 0 ? " " : ", ") + std::to_string(loss.lines[i]);
    }
    if (loss.rows > static_cast<std::int64_t>(loss.lines.size())) text += ", ...";
    return text;
}

void report_rows(const DataSet& data) {
    if (!data.counted) return;
    std::string lost;
    for (std::size_t v = 0; v < data.losses.size(); ++v) {
        const Loss& loss = data.losses[v];
        if (loss.rows == 0) continue;
        lost += "; " + data.variables[v].name + " cost " + std::to_string(loss.rows) + " (" +
                lines_text(loss, data.in_memory) + ")";
    }
    report(910, 40, arguments(data.shown, data.read, data.used, lost), {});
    if (data.used == 0 && !data.told_empty) report(910, 41, arguments(data.shown, ""), {});
}

/// True when a data set's name can be the name of a file in a folder.
bool is_file_name(const std::string& name) {
    if (name.empty() || name.size() > 240 || name.front() == '.') return false;
    return std::none_of(name.begin(), name.end(),
                        [](char c) { return c == '/' || c == '\\' || static_cast<unsigned char>(c) < 32 || c == 127; });
}

}  // namespace

const MadeDataSet* find_made(std::string_view name) {
    const std::string folded = folded_name(name);
    for (const MadeDataSet& made : state().made) {
        if (!made.is_path && folded_name(made.name) == folded) return &made;
    }
    return nullptr;
}

const MadeDataSet* last_made() {
    const State& s = state();
    return s.last < 0 ? nullptr : &s.made[static_cast<std::size_t>(s.last)];
}

std::shared_ptr<DataFile> library_file(const std::string& path, const std::string& shown, const FileForm& form) {
    std::vector<KnownFile>& files = state().files;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].path != path || !(files[i].file->form == form) || files[i].file.use_count() > 1) continue;
        if (unchanged(path, *files[i].file)) {
            files[i].file->shown = shown;
            return files[i].file;
        }
        files.erase(files.begin() + static_cast<std::ptrdiff_t>(i));
        break;
    }
    std::shared_ptr<DataFile> file = open_data_file(path, shown, form);
    if (file != nullptr) files.push_back({path, file});
    return file;
}

DataSet* add_open(std::unique_ptr<DataSet> data) {
    state().open.push_back(std::move(data));
    return state().open.back().get();
}

bool is_being_written(std::string_view name, bool is_path) {
    return std::any_of(state().open.begin(), state().open.end(), [&](const std::unique_ptr<DataSet>& data) {
        if (!data->output || data->placed || data->in_memory == is_path) return false;
        return is_path ? canonical_output(data->name) == canonical_output(std::string(name))
                       : folded_name(data->name) == folded_name(name);
    });
}

void reopen_output(DataSet* data) {
    std::string error;
    data->writer->discard();
    data->writer = data->in_memory ? memory_writer() : file_writer(data->name, data->form, &error);
    if (data->writer == nullptr) {
        report(910, 43, arguments(data->shown, error), {});
        data->writer = memory_writer();
    }
    data->closed = data->defined = data->placed = data->failed = false;
    data->written = 0;
}

void begin_step_data() { state().open.clear(); }

bool end_run_group_data(bool ok) {
    bool good = true;
    for (const std::unique_ptr<DataSet>& data : state().open) {
        if (!data->output || !data->closed || data->placed) continue;
        data->placed = true;
        if (ok) {
            good = put_in_place(data.get()) && good;
        } else {
            data->writer->discard();
        }
    }
    return good;
}

void end_step_data() {
    std::vector<std::unique_ptr<DataSet>> open = std::move(state().open);
    state().open.clear();
    for (const std::unique_ptr<DataSet>& data : open) {
        if (!data->output) report_rows(*data);
    }
}

bool keep_data_sets(const std::string& folder) {
    bool good = true;
    ::mkdir(folder.c_str(), 0777);
    for (const MadeDataSet& made : state().made) {
        if (made.is_path) continue;
        std::string error;
        if (!is_file_name(made.name)) {
            report(910, 44, arguments(made.name), {});
            good = false;
        } else if (!write_table(*made.table, folder + "/" + made.name + ".csv", &error)) {
            report(910, 43, arguments(folder + "/" + made.name + ".csv", error), {});
            good = false;
        }
    }
    return good;
}

void reset_data() {
    state().open.clear();
    state() = State();
    clear_value_formats();
}

}  // namespace vek
