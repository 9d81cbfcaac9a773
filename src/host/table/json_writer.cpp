// Turns calls into the text of a JSON document, piece by piece.
#include "host/table/json_writer.h"

#include <charconv>
#include <cmath>

#include "host/data/encoding.h"
#include "host/data/shortest.h"
#include "numeric/missing.h"

namespace vek {

namespace {
constexpr std::size_t piece = std::size_t{1} << 16;
}

JsonWriter::JsonWriter(Sink sink) : sink_(std::move(sink)) { buffer_.reserve(4096); }

void JsonWriter::put(std::string_view text) {
    buffer_.append(text);
    if (buffer_.size() >= piece) flush();
}

void JsonWriter::flush() {
    if (!buffer_.empty()) sink_(buffer_);
    buffer_.clear();
}

void JsonWriter::line() { new_line_ = true; }

// What stands between the element before and the next one.
void JsonWriter::separate() {
    if (named_) {
        named_ = false;
        return;
    }
    if (!first_) put(",");
    if (new_line_) {
        put("\n");
        new_line_ = false;
    } else if (!first_) {
        put(" ");
    }
    first_ = false;
}

void JsonWriter::begin_object() {
    separate();
    put("{");
    first_ = true;
}
void JsonWriter::begin_array() {
    separate();
    put("[");
    first_ = true;
}
void JsonWriter::end_object() {
    if (new_line_) put("\n");
    new_line_ = false;
    put("}");
    first_ = false;
}
void JsonWriter::end_array() {
    if (new_line_) put("\n");
    new_line_ = false;
    put("]");
    first_ = false;
}

void JsonWriter::name(std::string_view text) {
    separate();
    put("\"");
    escape(text);
    put("\": ");
    named_ = true;
}

void JsonWriter::value(std::string_view text) {
    separate();
    put("\"");
    escape(text);
    put("\"");
}

void JsonWriter::value(std::int64_t number) {
    separate();
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    put({digits, static_cast<std::size_t>(end - digits)});
}

void JsonWriter::value(double number) {
    if (wzmis(number)) {
        const char code = missing_code(number);
        if (code == '.') {
            value(std::string_view("."));
        } else {
            const char text[2] = {'.', code};
            value(std::string_view(text, 2));
        }
        return;
    }
    separate();
    if (!std::isfinite(number)) {
        put("\".\"");  // the log tells of it
        return;
    }
    // The form of data sets: a number has the same digits wherever it goes.
    char digits[shortest_room];
    const char* const end = write_shortest(number, digits);
    put({digits, static_cast<std::size_t>(end - digits)});
}

void JsonWriter::escape(std::string_view text) {
    constexpr char hexadecimal[] = "0123456789abcdef";
    std::size_t from = 0;
    // A path or a program can hold bytes that are no characters; a reader of the document takes none of it then.
    std::size_t invalid = find_invalid_utf8(text);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (i == invalid) {
            put(text.substr(from, i - from));
            put("\\ufffd");
            from = i + 1;
            const std::size_t next = find_invalid_utf8(text.substr(from));
            invalid = next == std::string_view::npos ? next : from + next;
            continue;
        }
        if (c >= 0x20 && c != '"' && c != '\\' && c != 0x7F) continue;
        put(text.substr(from, i - from));
        from = i + 1;
        switch (c) {
            case '"':
                put("\\\"");
                break;
            case '\\':
                put("\\\\");
                break;
            case '\n':
                put("\\n");
                break;
            case '\t':
                put("\\t");
                break;
            case '\r':
                put("\\r");
                break;
            default: {
                const char code[6] = {'\\', 'u', '0', '0', hexadecimal[c >> 4], hexadecimal[c & 15]};
                put({code, sizeof code});
            }
        }
    }
    put(text.substr(from));
}

}  // namespace vek
