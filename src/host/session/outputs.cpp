// The outputs of a run: what the table service and the log hold becomes files, or text on standard output and error.
#include "host/session/outputs.h"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "host/message/catalogue.h"
#include "host/session/options.h"
#include "host/table/service.h"

namespace vek {

namespace {

constexpr int usual_width = 100;  // of a listing that goes to no terminal
constexpr int least_width = 40;

void write_to_error(std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(STDERR_FILENO, text.data(), text.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;  // nobody listens: the log is in the JSON document too
        text.remove_prefix(static_cast<std::size_t>(n));
    }
}

bool is_regular(const std::string& path) {
    struct stat status = {};
    return path != "-" && (stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode));
}

bool is_null_device(const std::string& path) {
    struct stat status = {}, null = {};
    return path != "-" && stat(path.c_str(), &status) == 0 && stat("/dev/null", &null) == 0 &&
           S_ISCHR(status.st_mode) && status.st_rdev == null.st_rdev;
}

/// Two outputs that would write over each other, or an empty string.
std::string same_name(const CommandLine& command) {
    std::vector<std::pair<std::string, std::string>> named;  // canonical name, option
    auto add = [&](const std::string& path, const char* option) {
        if (!path.empty() && !is_null_device(path)) named.emplace_back(canonical_output(path), option);
    };
    if (!command.quiet) add(command.listing, "the listing");
    add(command.log, "--log");
    add(command.json, "--json");
    add(command.html, "--html");
    add(command.markdown, "--md");
    add(command.csv_folder, "--csv");
    add(command.keep_folder, "--keep");
    std::sort(named.begin(), named.end());
    const auto twin =
        std::adjacent_find(named.begin(), named.end(), [](const auto& a, const auto& b) { return a.first == b.first; });
    if (twin == named.end()) return {};
    return twin->second + " and " + (twin + 1)->second +
           " have the same name; give each output a name of its own, or write -q for no listing";
}

/// A folder that exists and can be written to, or that can be made.
bool folder_can_be_used(const std::string& path, std::string* reason) {
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        if (!S_ISDIR(status.st_mode)) return *reason = path + " is not a folder", false;
        if (access(path.c_str(), W_OK | X_OK) != 0) return *reason = path + ": " + std::strerror(errno), false;
        return true;
    }
    const std::size_t slash = path.find_last_of('/', path.size() - 2);
    const std::string parent = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    if (access(parent.c_str(), W_OK | X_OK) != 0) return *reason = path + ": " + std::strerror(errno), false;
    return true;
}

}  // namespace

bool Outputs::open(const CommandLine& command, std::string* reason) {
    *reason = same_name(command);
    if (!reason->empty()) return false;
    for (const std::string& folder : {command.csv_folder, command.keep_folder}) {
        if (!folder.empty() && !folder_can_be_used(folder, reason)) return false;
    }
    auto open_file = [&](OutputFile* file, const std::string& path) {
        if (file->open(path)) return true;
        *reason = (path == "-" ? "standard output" : path) + " cannot be written: " + file->error();
        discard();
        return false;
    };
    if (!command.quiet && !open_file(&listing_, command.listing)) return false;
    if (!command.log.empty() && !open_file(&log_, command.log)) return false;
    log_to_error_ = command.log.empty();
    if (!command.json.empty()) {
        if (!open_file(&json_file_, command.json)) return false;
        json_ = std::make_unique<JsonWriter>([this](std::string_view text) { json_file_.write(text); });
        // A pipe or device sees the document at the end, whole.
        json_at_once_ = is_regular(command.json);
    }
    if (!command.html.empty() && !open_file(&page_, command.html)) return false;
    if (!command.markdown.empty() && !open_file(&markdown_, command.markdown)) return false;
    csv_folder_ = command.csv_folder;
    whole_report_needed_ = page_.is_open() || markdown_.is_open() || !csv_folder_.empty();
    return true;
}

int Outputs::line_width() const {
    const int wanted = static_cast<int>(host_options().number("LINESIZE"));
    if (wanted > 0) return wanted;
    winsize size = {};
    if (listing_.path() == "-" && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return std::max(static_cast<int>(size.ws_col), least_width);
    }
    return usual_width;
}

/// Reports a failed output once, as an error of the log.
void Outputs::check(OutputFile* file) {
    if (!file->failed() || !file->is_open()) return;
    if (file->path() == "-") {
        if (!lost_) report(930, 12, {}, {});
        lost_ = true;
    } else {
        report(930, 10, arguments(file->path(), file->error()), {});
    }
    file->discard();
}

/// An output that lacks a part, since memory ran out while it was made, is none.
void Outputs::give_up(OutputFile* file) {
    const std::string path = file->path();
    file->discard();
    report(930, 10, arguments(path == "-" ? std::string("standard output") : path, "memory ran out"), {});
}

bool Outputs::commit(OutputFile* file) {
    check(file);
    if (!file->is_open()) return false;
    const std::string path = file->path();
    if (file->commit()) return true;
    if (path == "-") {
        lost_ = true;
        report(930, 12, {}, {});
    } else {
        report(930, 10, arguments(path, file->error()), {});
    }
    return false;
}

void Outputs::show_listing() {
    if (!listing_.is_open()) return;
    try {
        tables().render_listing([this](std::string_view text) { listing_.write(text); }, line_width());
    } catch (const std::bad_alloc&) {
        give_up(&listing_);
    }
    if (listing_.path() == "-") listing_.pass_on();
    check(&listing_);
}

void Outputs::show_log() {
    if (logged_ == host_log().entries().size()) return;
    std::string text;
    host_log().write_text(&text, logged_);
    logged_ = host_log().entries().size();
    if (log_to_error_) {
        write_to_error(text);
    } else if (log_.is_open()) {
        log_.write(text);
        check(&log_);
    }
}

void Outputs::write_json_tables() {
    if (json_ == nullptr) return;
    if (json_file_.bytes() == 0) {
        json_->begin_object();
        json_->name("tables");
        json_->begin_array();
    }
    try {
        tables().write_json(*json_);
        json_->flush();
    } catch (const std::bad_alloc&) {
        json_.reset();
        give_up(&json_file_);
    }
}

void Outputs::show() {
    show_log();
    show_listing();
    if (json_at_once_) write_json_tables();
    const bool json_had_all = json_ == nullptr || json_at_once_;
    if (!whole_report_needed_) tables().forget(json_had_all);
    show_log();
}

void Outputs::write_whole(OutputFile* file, const std::function<void(const TextSink&)>& render) {
    if (!file->is_open()) return;
    try {
        render([file](std::string_view text) { file->write(text); });
    } catch (const std::bad_alloc&) {
        give_up(file);
        return;
    }
    commit(file);
}

void Outputs::write_csv_folder() {
    if (csv_folder_.empty()) return;
    if (mkdir(csv_folder_.c_str(), 0777) != 0 && errno != EEXIST) {
        report(930, 10, arguments(csv_folder_, std::strerror(errno)), {});
        return;
    }
    for (const auto& [name, number] : tables().csv_files()) {
        OutputFile file;
        const std::string path = csv_folder_ + "/" + name;
        if (!file.open(path)) {
            report(930, 10, arguments(path, file.error()), {});
            return;
        }
        write_whole(&file, [n = number](const TextSink& sink) { tables().write_csv(n, sink); });
    }
}

void Outputs::finish_report() {
    show();
    if (listing_.is_open()) commit(&listing_);
    write_csv_folder();
    write_whole(&markdown_, [](const TextSink& sink) { tables().write_markdown(sink); });
    write_whole(&page_, [](const TextSink& sink) { tables().write_html(sink, host_log()); });
}

namespace {

void write_entry(JsonWriter& json, const LogEntry& entry) {
    json.line();
    json.begin_object();
    json.member("level", level_name(entry.level));
    json.member("group", entry.group);
    json.member("number", entry.number);
    json.member("text", entry.text);
    if (entry.place.known()) {
        json.member("file", entry.place.file);
        if (entry.place.line > 0) json.member("line", entry.place.line);
        if (entry.place.line > 0 && entry.place.column > 0) {
            json.member("column", entry.place.column);
            json.member("length", entry.place.length);
        }
    }
    if (!entry.suggest.empty()) json.member("suggest", entry.suggest);
    json.end_object();
}

}  // namespace

/// The rest of the document behind the tables.
void Outputs::write_json_end(int status) {
    json_->end_array();
    json_->line();
    json_->name("log");
    json_->begin_array();
    for (const LogEntry& entry : host_log().entries()) write_entry(*json_, entry);
    json_->end_array();
    json_->line();
    json_->member("exit", status);
    json_->end_object();
    json_->line();
    json_->flush();
}

int Outputs::finish_log(int status) {
    const bool wants_json = json_file_.is_open();
    if (json_ != nullptr) write_json_tables();
    // What the tables have met is in the log and the status too.
    if (wants_json && json_ == nullptr && status == 0) status = 1;
    if (json_ != nullptr) {
        write_json_end(status);
        if (!commit(&json_file_) && status == 0) status = lost_ ? 2 : 1;
    }
    show_log();
    if (log_.is_open() && !commit(&log_)) {
        // The log cannot tell of its own loss.
        log_to_error_ = true;
        show_log();
        if (status == 0) status = lost_ ? 2 : 1;
    }
    return status;
}

void Outputs::discard() {
    listing_.discard();
    json_file_.discard();
    page_.discard();
    markdown_.discard();
    log_.discard();
}

}  // namespace vek
