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

#include "frame/host_message.h"
#include "host/message/catalogue.h"
#include "host/session/options.h"
#include "host/table/report.h"
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
        if (access(path.c_str(), W_OK | X_OK) == 0) return true;
        return *reason = "the folder " + path + " cannot be written to: " + std::strerror(errno), false;
    }
    // Whether it can be made is seen by making it; it is there when it is needed.
    if (mkdir(path.c_str(), 0777) != 0) {
        return *reason = "the folder " + path + " cannot be made: " + std::strerror(errno), false;
    }
    rmdir(path.c_str());
    return true;
}

}  // namespace

bool Outputs::open(const CommandLine& command, std::string* reason) {
    *reason = same_name(command);
    if (!reason->empty()) return false;
    for (const auto& [option, folder] : {std::pair{"--csv", command.csv_folder}, {"--keep", command.keep_folder}}) {
        if (folder == "-") {
            *reason = std::string(option) + " needs a folder; it cannot be standard output";
            return false;
        }
        if (!folder.empty() && !folder_can_be_used(folder, reason)) return false;
    }
    auto open_file = [&](OutputFile* file, const std::string& path) {
        if (file->open(path)) return true;
        *reason = (path == "-" ? "standard output" : path) + " cannot be written: " + file->error();
        discard();
        return false;
    };
    if (!command.quiet && !open_file(&listing_.file, command.listing)) return false;
    if (!command.log.empty() && !open_file(&log_, command.log)) return false;
    log_to_error_ = command.log.empty();
    if (!command.json.empty()) {
        if (!open_file(&json_file_.file, command.json)) return false;
        json_ = std::make_unique<JsonWriter>([this](std::string_view text) { hold(&json_file_, text); });
        json_->begin_object();
        json_->name("tables");
        json_->begin_array();
        // A pipe or device sees the document at the end, whole.
        json_at_once_ = is_regular(command.json);
    }
    if (!command.html.empty() && !open_file(&page_.file, command.html)) return false;
    if (!command.markdown.empty() && !open_file(&markdown_.file, command.markdown)) return false;
    csv_folder_ = command.csv_folder;
    return true;
}

int Outputs::line_width() const {
    const int wanted = static_cast<int>(host_options().number("LINESIZE"));
    if (wanted > 0) return wanted;
    winsize size = {};
    if (listing_.file.path() == "-" && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return std::max(static_cast<int>(size.ws_col), least_width);
    }
    return usual_width;
}

/// Reports a failed output once, as an error of the log.
void Outputs::check(OutputFile* file) {
    if (!file->failed() || !file->is_open()) return;
    tell_failure(*file);
    file->discard();
}

/// Reports why an output is lost; of standard output only once.
void Outputs::tell_failure(const OutputFile& file) {
    const bool standard = file.path() == "-";
    if (!standard) {
        report(930, 10, arguments(file.path(), file.error()), {});
    } else if (!std::exchange(lost_, true)) {
        if (file.closed()) {
            report(930, 12, {}, {});
        } else {
            report(930, 10, arguments("standard output", file.error()), {});
        }
    }
}

bool Outputs::names(const std::string& path) const {
    const std::string name = canonical_output(path);
    for (const OutputFile* file : {&listing_.file, &log_, &json_file_.file, &page_.file, &markdown_.file}) {
        const bool same = file->is_open() && file->path() != "-" && canonical_output(file->path()) == name;
        if (same && !is_null_device(path)) return true;
    }
    return false;
}

/// An output that lacks a part, since memory ran out while it was made, is none.
void Outputs::give_up(Held* output) {
    const std::string path = output->file.path();
    output->file.discard();
    output->text.clear();
    report(930, 10, arguments(path == "-" ? std::string("standard output") : path, "memory ran out"), {});
}

void Outputs::check(Held* output) {
    if (output->text.failed() && output->file.is_open()) {
        report(930, 10,
               arguments(output->file.path() == "-" ? "standard output" : output->file.path(), output->text.error()),
               {});
        output->file.discard();
    }
    check(&output->file);
}

bool Outputs::commit(OutputFile* file) {
    check(file);
    if (!file->is_open()) return false;
    if (file->commit()) return true;
    tell_failure(*file);
    return false;
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
        if (log_.is_open()) return;
        // A log that is lost is shown from its beginning.
        log_to_error_ = true;
        logged_ = 0;
        show_log();
    }
}

void Outputs::hold(Held* output, std::string_view text) {
    if (draining_) wtpoll();  // a long report is stopped by an interrupt, as long as nobody has seen any of it
    output->text.append(text);
}

/// Lets a form of the report be written to the held part of its output.
void Outputs::write_form(Held* output, const std::function<void(const TextSink&)>& render) {
    if (!output->file.is_open()) return;
    try {
        render([this, output](std::string_view text) { hold(output, text); });
    } catch (const std::bad_alloc&) {
        if (output == &json_file_) json_.reset();
        give_up(output);
    }
    check(output);
}

/// Writes the tables that have come and forgets them, unless CSV files will be made of them.
void Outputs::write_tables() {
    using Form = TableService::Form;
    TableService& service = tables();
    write_form(&listing_, [&](const TextSink& sink) { service.render_listing(sink, line_width()); });
    if (json_ != nullptr) {
        write_form(&json_file_, [&](const TextSink&) {
            service.write_json(*json_);
            json_->flush();
        });
    }
    write_form(&page_, [&](const TextSink& sink) { service.write_page_body(sink); });
    write_form(&markdown_, [&](const TextSink& sink) { service.write_markdown_part(sink); });
    if (!csv_folder_.empty()) return;
    std::vector<Form> wanted;
    if (listing_.file.is_open()) wanted.push_back(Form::listing);
    if (json_ != nullptr) wanted.push_back(Form::json);
    if (page_.file.is_open()) wanted.push_back(Form::page);
    if (markdown_.file.is_open()) wanted.push_back(Form::markdown);
    service.forget(wanted);
}

/// What was held back is final.
void Outputs::pass_on(Held* output) {
    if (!output->file.is_open()) return;
    output->text.pass_on([output](std::string_view text) { output->file.write(text); });
    check(output);
    output->text.clear();
}

void Outputs::begin_group() {
    show();
    tables().hold();
    if (json_ != nullptr) json_place_ = json_->place();
    json_held_ = json_file_.text.size();
    page_held_ = page_.text.size();
}

void Outputs::drain() {
    if (tables().report().end() == tables().report().begin()) return;
    draining_ = true;
    const struct Drained {
        bool& draining;
        ~Drained() { draining = false; }
    } drained{draining_};
    write_tables();
}

void Outputs::take_back() {
    tables().take_back();
    listing_.text.clear();
    markdown_.text.clear();
    json_file_.text.cut_back(json_held_);
    page_.text.cut_back(page_held_);
    if (json_ != nullptr) json_->go_back(json_place_);
}

void Outputs::show() {
    show_log();
    write_tables();
    pass_on(&listing_);
    if (listing_.file.path() == "-" && listing_.file.is_open()) listing_.file.pass_on();
    check(&listing_);
    if (json_at_once_) pass_on(&json_file_);
    pass_on(&markdown_);
    show_log();
}

/// The page: what stands before the tables is known at the end.
void Outputs::write_page() {
    if (!page_.file.is_open()) return;
    try {
        tables().write_page([this](std::string_view text) { page_.file.write(text); }, host_log(),
                            [this](const TextSink& sink) { page_.text.pass_on(sink); });
    } catch (const std::bad_alloc&) {
        give_up(&page_);
    }
    check(&page_);
    commit(&page_.file);
    page_.text.clear();
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
        try {
            tables().write_csv(number, [&file](std::string_view text) { file.write(text); });
        } catch (const std::bad_alloc&) {
            file.discard();
            report(930, 10, arguments(path, "memory ran out"), {});
            return;
        }
        // What keeps one file from being written keeps the others too, and is told once.
        if (!commit(&file)) return;
    }
}

void Outputs::finish_report() {
    show();
    if (listing_.file.is_open()) commit(&listing_.file);
    write_csv_folder();
    if (markdown_.file.is_open()) commit(&markdown_.file);
    write_page();
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
    const bool wants_json = json_file_.file.is_open();
    if (json_ != nullptr) write_tables();
    // What the tables have met is in the log and the status too.
    if (wants_json && json_ == nullptr && status == 0) status = 1;
    if (json_ != nullptr) {
        write_json_end(status);
        pass_on(&json_file_);
        if (!commit(&json_file_.file) && status == 0) status = lost_ ? 2 : 1;
    }
    show_log();
    if (log_.is_open() && !commit(&log_)) {
        // The log cannot tell of its own loss.
        log_to_error_ = true;
        logged_ = 0;
        show_log();
        if (status == 0) status = lost_ ? 2 : 1;
    }
    return status;
}

void Outputs::discard() {
    for (Held* output : {&listing_, &json_file_, &page_, &markdown_}) {
        output->file.discard();
        output->text.clear();
    }
    log_.discard();
}

}  // namespace vek
