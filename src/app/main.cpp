// The command line of vek: options become settings of a session, and the session's result the exit status.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "host/session/options.h"
#include "host/session/session.h"
#include "host/statement/suggest.h"

namespace {

constexpr int status_usage = 2;
constexpr const char* version = "vek 0.1.0";

/// NAME=VALUE as two texts; what has no name or no equal sign is refused.
struct NameValue {
    explicit NameValue(std::vector<vek::CommandLine::Pair>* list) : pairs(list) {}
    void operator()(const std::vector<std::string>& texts) const {
        for (const std::string& text : texts) {
            const std::size_t equal = text.find('=');
            if (equal == std::string::npos || equal == 0 || equal + 1 == text.size()) {
                throw CLI::ValidationError("\"" + text + "\" has not the form NAME=VALUE");
            }
            pairs->push_back({text.substr(0, equal), text.substr(equal + 1)});
        }
    }
    std::vector<vek::CommandLine::Pair>* pairs;
};

std::string option_help() {
    std::string text = "Host options (--option NAME=VALUE, or OPTIONS in a program):";
    for (const vek::HostOption& option : vek::host_option_table()) {
        if (option.help.empty()) continue;
        text.append("\n  ").append(option.name).append(14 - option.name.size(), ' ').append(option.help);
    }
    return text + "\n\nExit status: 0 no error, 1 errors in the log, 2 wrong command line, 3 a fault of the program.";
}

/// The first name that stands twice among the data sets, ignoring case; empty when none does.
std::string repeated_name(const std::vector<vek::CommandLine::Pair>& data) {
    for (std::size_t i = 0; i < data.size(); ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            if (CLI::detail::to_lower(data[i].name) == CLI::detail::to_lower(data[k].name)) return data[i].name;
        }
    }
    return {};
}

void add_options(CLI::App* app, vek::CommandLine* command, std::vector<std::string>* data,
                 std::vector<std::string>* options) {
    const auto path = [&](const char* names, std::string& value, const char* help) {
        app->add_option(names, value, help)->type_name("PATH");
    };
    const auto folder = [&](const char* names, std::string& value, const char* help) {
        app->add_option(names, value, help)->type_name("DIR");
    };
    const auto pairs = [&](const char* names, std::vector<std::string>& value, const char* type, const char* help) {
        app->add_option(names, value, help)->allow_extra_args(false)->type_name(type);
    };
    app->add_option("PROGRAM", command->programs, "programs to run; - or none is standard input")->type_name("");
    pairs("-d,--data", *data, "NAME=PATH", "data set NAME is the file PATH; repeatable");
    path("-o,--listing", command->listing, "the printed report (default: standard output)");
    path("--log", command->log, "notes, warnings and errors (default: standard error)");
    path("--json", command->json, "every table as data");
    path("--html", command->html, "the report as one page");
    path("--md", command->markdown, "the report as Markdown");
    folder("--csv", command->csv_folder, "a folder for a CSV file of each table");
    folder("--keep", command->keep_folder, "a folder for the data sets that the run made");
    pairs("--option", *options, "NAME=VALUE", "a host option, see below; repeatable");
    app->add_flag("-q,--quiet", command->quiet, "no listing");
    app->set_version_flag("--version", version, "the version");
    app->footer("PATH - is standard output.\n\n" + option_help());
}

/// What is wrong with a word that is no option.
std::string unknown_option(const CLI::App& app) {
    const std::vector<std::string> words = app.remaining();
    const std::string word = words.empty() ? std::string() : words.front();
    vek::Nearest nearest(word);
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) nearest.offer("--" + name);
    }
    const std::string meant = word.size() > 2 && nearest.found() ? "; did you mean " + nearest.best() + "?" : "";
    return "there is no option \"" + word + "\"" + meant;
}

/// An option that stands twice or has no value; the parser's own words name it in front.
std::string wrong_count(const CLI::App& app, const std::string& words) {
    const std::string name = words.substr(0, words.find(':'));
    const CLI::Option* option = app.get_option_no_throw(name);
    if (option == nullptr) return words;
    return name + (option->count() > 1 ? " is given twice" : " needs a path or a value");
}

int usage_error(const std::string& text) {
    std::fprintf(stderr, "vek: error: %s\n(vek --help lists the options)\n", text.c_str());
    return status_usage;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Fits linear models by least squares, driven by a program of statements.", "vek");
    vek::CommandLine command;
    std::vector<std::string> data, options;
    add_options(&app, &command, &data, &options);
    try {
        app.parse(argc, argv);
        NameValue{&command.data}(data);
        NameValue{&command.options}(options);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::ExtrasError&) {
        return usage_error(unknown_option(app));
    } catch (const CLI::ArgumentMismatch& wrong) {
        return usage_error(wrong_count(app, wrong.what()));
    } catch (const CLI::ParseError& wrong) {
        return usage_error(wrong.what());
    }
    const std::string twice = repeated_name(command.data);
    if (!twice.empty()) return usage_error("data set " + twice + " is given twice");
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() > 0 && option->get_name() != "PROGRAM" && !option->results().empty() &&
            option->results().front().empty()) {
            return usage_error(option->get_name() + " needs a path or a value");
        }
    }
    return vek::session().run(command);
}
