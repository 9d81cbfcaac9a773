// The log: entries are kept in order and become lines of text.
#include "host/message/log.h"

#include <string>

namespace vek {

std::string_view level_name(Level level) {
    switch (level) {
        case Level::note:
            return "note";
        case Level::warning:
            return "warning";
        case Level::error:
            return "error";
    }
    return "error";
}

void Log::add(LogEntry entry) {
    if (entry.level == Level::error) ++errors_;
    entries_.push_back(std::move(entry));
}

void Log::clear() {
    entries_.clear();
    errors_ = 0;
    statement_ = {};
}

namespace {

void append_place(std::string* out, const Place& place) {
    if (!place.known()) return;
    out->append(visible_text(place.file)).push_back(':');
    if (place.line > 0) out->append(std::to_string(place.line)).push_back(':');
    if (place.line > 0 && place.column > 0 && !place.in_data) out->append(std::to_string(place.column)).push_back(':');
    out->push_back(' ');
}

void append_indented(std::string* out, std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t end = lines.find('\n');
        const std::string_view line = lines.substr(0, end);
        if (!line.empty()) out->append("    ").append(visible_text(line));
        out->push_back('\n');
        if (end == std::string_view::npos) break;
        lines.remove_prefix(end + 1);
    }
}

}  // namespace

void Log::write_text(std::string* out, std::size_t first) const {
    for (std::size_t i = first; i < entries_.size(); ++i) {
        const LogEntry& entry = entries_[i];
        append_place(out, entry.place);
        out->append(level_name(entry.level)).append(": ").append(visible_text(entry.text)).push_back('\n');
        append_indented(out, entry.excerpt);
    }
}

Log& host_log() {
    static Log log;
    return log;
}

std::string visible_text(std::string_view text) {
    constexpr char hex[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size());
    auto escape = [&](unsigned char byte) {
        out.append("\\x");
        out.push_back(hex[byte >> 4]);
        out.push_back(hex[byte & 15]);
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool has_next = i + 1 < text.size();
        const auto next = has_next ? static_cast<unsigned char>(text[i + 1]) : static_cast<unsigned char>(0);
        if (byte < 32 || byte == 127) {
            escape(byte);
        } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {
            escape(next);
            ++i;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

}  // namespace vek
