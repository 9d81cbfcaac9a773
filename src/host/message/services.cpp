// What the module asks of the host beside numbered messages: lines of the log, traces, options, and the poll for an
// interrupt.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "host/message/catalogue.h"
#include "host/session/interrupt.h"
#include "host/session/options.h"
#include "host/session/session.h"
#include "host/statement/reader.h"
#include "host/storage/leave.h"
#include "host/table/report.h"
#include "host/table/service.h"

namespace vek {

namespace {

std::string formatted(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    char text[256];
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    std::string out;
    if (length >= 0 && static_cast<std::size_t>(length) < sizeof text) {
        out.assign(text, static_cast<std::size_t>(length));
    } else if (length >= 0) {
        out.resize(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(out.data(), out.size(), format, again);
        out.pop_back();
    }
    va_end(again);
    return out;
}

std::string shown_by(const ReportContext& context) {
    std::string out;
    for (const auto& [variable, value] : context.by) {
        if (!out.empty()) out.push_back(' ');
        out.append(variable).append("=").append(value);
    }
    return out;
}

std::string_view service_text(int code) {
    constexpr int no_such_method = static_cast<int>(0x80008001U);
    constexpr int no_such_table = static_cast<int>(0x8000200AU);
    if (code == no_such_method) return "the object has no such method";
    if (code == no_such_table) return "there is no such translation table";
    return "a value was refused";
}

}  // namespace

void message_to_log(int group, int number, MessageArguments list) {
    Place place = host_log().statement();
    std::string excerpt;
    const CatalogueRow* row = find_message(group, number);
    const StatementReader* reader = StatementReader::current();
    if (row != nullptr && row->at_word && reader != nullptr && !list.empty()) {
        reader->find_word(list[0].text, &place, &excerpt);
    }
    LogEntry entry = make_entry(group, number, list, place, {}, std::move(excerpt));
    // Within a BY group a message says which one.
    const std::string by = shown_by(*tables().report().context());
    if (!by.empty()) entry.text.append(" (").append(by).append(")");
    host_log().add(std::move(entry));
}

void message_to_print(int group, int number, MessageArguments arguments) {
    tables().print_line(format_message(group, number, arguments));
}

void xprrlog(int, int code) { report(930, 22, arguments(code, service_text(code)), host_log().statement()); }

void xpslog(const char* format, ...) {
    std::va_list list;
    va_start(list, format);
    const std::string text = formatted(format, list);
    va_end(list);
    report(930, 21, arguments(text), {});
}

void xpsout(const char* format, ...) {
    std::va_list list;
    va_start(list, format);
    const std::string text = formatted(format, list);
    va_end(list);
    report(930, 21, arguments(text), {});
}

std::string_view xoptcgt(std::string_view name) { return host_options().text(name); }

double xyrngef(std::string_view name, double otherwise) {
    return Options::find(name) == nullptr ? otherwise : host_options().number(name);
}

bool xdebug(std::string_view word) {
    const std::string_view list = host_options().text("DEBUG");
    if (list.empty()) return false;
    auto capital = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    for (std::size_t i = 0; i + word.size() <= list.size(); ++i) {
        std::size_t k = 0;
        while (k < word.size() && capital(list[i + k]) == word[k]) ++k;
        if (k == word.size()) return true;
    }
    return false;
}

void wtpoll() {
    if (pending_signal() == 0) return;
    if (!session().abandoned()) throw Interrupted{};  // at the prompt
    throw Leave{leave_interrupted, 0};
}

}  // namespace vek
