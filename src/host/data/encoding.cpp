// One-byte encodings by table and UTF-16 by units to UTF-8, and the check that bytes are UTF-8. Bytes that an encoding
// does not have become a byte that UTF-8 does not have, so that the reader of the text finds them with their line.
#include "host/data/encoding.h"

#include <cstdint>
#include <cstring>

#include "host/data/encoding_tables.h"

namespace vek {

namespace {

using Kind = Encoding::Kind;

struct Row {
    std::string_view name;
    Kind kind;
    const char16_t* table;
    std::string_view aliases;  ///< folded, between blanks
};

constexpr Row rows[] = {
    {"UTF-8", Kind::utf8, nullptr, " utf8 unicode "},
    {"UTF-16", Kind::utf16, nullptr, " utf16 "},
    {"UTF-16LE", Kind::utf16_little, nullptr, " utf16le "},
    {"UTF-16BE", Kind::utf16_big, nullptr, " utf16be "},
    {"US-ASCII", Kind::ascii, nullptr, " usascii ascii "},
    {"ISO-8859-1", Kind::table, encoding_tables::iso8859_1, " iso88591 latin1 l1 "},
    {"ISO-8859-2", Kind::table, encoding_tables::iso8859_2, " iso88592 latin2 l2 "},
    {"ISO-8859-5", Kind::table, encoding_tables::iso8859_5, " iso88595 cyrillic "},
    {"ISO-8859-7", Kind::table, encoding_tables::iso8859_7, " iso88597 greek "},
    {"ISO-8859-9", Kind::table, encoding_tables::iso8859_9, " iso88599 latin5 l5 "},
    {"ISO-8859-15", Kind::table, encoding_tables::iso8859_15, " iso885915 latin9 l9 "},
    {"windows-1250", Kind::table, encoding_tables::windows_1250, " windows1250 cp1250 wlatin2 "},
    {"windows-1251", Kind::table, encoding_tables::windows_1251, " windows1251 cp1251 wcyrillic "},
    {"windows-1252", Kind::table, encoding_tables::windows_1252, " windows1252 cp1252 wlatin1 ansi "},
    {"windows-1253", Kind::table, encoding_tables::windows_1253, " windows1253 cp1253 wgreek "},
    {"windows-1254", Kind::table, encoding_tables::windows_1254, " windows1254 cp1254 wturkish "},
    {"windows-1257", Kind::table, encoding_tables::windows_1257, " windows1257 cp1257 wbaltic "},
    {"IBM437", Kind::table, encoding_tables::ibm437, " ibm437 cp437 "},
    {"IBM850", Kind::table, encoding_tables::ibm850, " ibm850 cp850 "},
    {"IBM852", Kind::table, encoding_tables::ibm852, " ibm852 cp852 "},
    {"KOI8-R", Kind::table, encoding_tables::koi8_r, " koi8r "},
    {"macintosh", Kind::table, encoding_tables::macintosh, " macintosh macroman mac "},
};

void append_utf8(char32_t character, std::string* out) {
    const auto put = [out](char32_t byte) { out->push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6), put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12), put(0x80 | (character >> 6 & 0x3F)), put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | character >> 18), put(0x80 | (character >> 12 & 0x3F));
        put(0x80 | (character >> 6 & 0x3F)), put(0x80 | (character & 0x3F));
    }
}

}  // namespace

bool find_encoding(std::string_view name, Encoding* encoding) {
    std::string folded = " ";
    for (char c : name) {
        if (c == ' ' || c == '-' || c == '_') continue;
        folded.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
    }
    folded.push_back(' ');
    for (const Row& row : rows) {
        if (folded.size() > 2 && row.aliases.find(folded) != std::string_view::npos) {
            *encoding = {row.kind, row.name, row.table};
            return true;
        }
    }
    return false;
}

std::string encoding_names() {
    std::string names;
    for (const Row& row : rows) names.append(names.empty() ? "" : ", ").append(row.name);
    return names;
}

void Decoder::decode(std::string_view bytes, bool last, std::string* out) {
    switch (encoding_.kind) {
        case Kind::utf8:
            out->append(bytes);
            return;
        case Kind::utf16:
        case Kind::utf16_little:
        case Kind::utf16_big:
            decode_utf16(bytes, last, out);
            return;
        case Kind::ascii:
            for (const char c : bytes) out->push_back(static_cast<unsigned char>(c) < 128 ? c : invalid_byte);
            return;
        case Kind::table:
            for (const char c : bytes) {
                const auto byte = static_cast<unsigned char>(c);
                const char16_t character = byte < 128 ? byte : encoding_.table[byte - 128];
                if (character == 0xFFFD) {
                    out->push_back(invalid_byte);
                } else {
                    append_utf8(character, out);
                }
            }
            return;
    }
}

void Decoder::unit(unsigned value, std::string* out) {
    if (!started_) {
        started_ = true;
        // A byte order mark tells the order where the name does not; without one the low byte comes first.
        if (value == 0xFEFF) return;
    }
    const bool low = value >= 0xDC00 && value < 0xE000;
    if (surrogate_ != 0) {
        if (low) {
            append_utf8(0x10000 + ((surrogate_ - 0xD800) << 10) + (value - 0xDC00), out);
            surrogate_ = 0;
            return;
        }
        out->push_back(invalid_byte);
        surrogate_ = 0;
    }
    if (value >= 0xD800 && value < 0xDC00) {
        surrogate_ = value;
    } else if (low) {
        out->push_back(invalid_byte);
    } else {
        append_utf8(value, out);
    }
}

void Decoder::decode_utf16(std::string_view bytes, bool last, std::string* out) {
    for (const char c : bytes) {
        const int byte = static_cast<unsigned char>(c);
        if (half_ < 0) {
            half_ = byte;
            continue;
        }
        if (!started_ && encoding_.kind == Kind::utf16) {
            encoding_.kind = half_ == 0xFE && byte == 0xFF ? Kind::utf16_big : Kind::utf16_little;
        }
        const bool big = encoding_.kind == Kind::utf16_big;
        unit(static_cast<unsigned>(big ? half_ << 8 | byte : byte << 8 | half_), out);
        half_ = -1;
    }
    if (last && (half_ >= 0 || surrogate_ != 0)) {
        out->push_back(invalid_byte);
        half_ = -1;
        surrogate_ = 0;
    }
}

std::size_t find_invalid_utf8(std::string_view text) {
    const std::size_t size = text.size();
    std::size_t i = 0;
    while (i < size) {
        if (size - i >= 8) {
            std::uint64_t word;
            std::memcpy(&word, text.data() + i, sizeof word);
            if ((word & 0x8080808080808080U) == 0) {
                i += 8;
                continue;
            }
        }
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            ++i;
            continue;
        }
        // The second byte's range excludes overlong forms, surrogates and what lies beyond U+10FFFF.
        std::size_t more = 0;
        unsigned char low = 0x80, high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            more = 1;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            more = 2;
            if (lead == 0xE0) low = 0xA0;
            if (lead == 0xED) high = 0x9F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            more = 3;
            if (lead == 0xF0) low = 0x90;
            if (lead == 0xF4) high = 0x8F;
        } else {
            return i;
        }
        if (size - i <= more) return i;
        for (std::size_t k = 1; k <= more; ++k) {
            const auto byte = static_cast<unsigned char>(text[i + k]);
            if (byte < low || byte > high) return i;
            low = 0x80, high = 0xBF;
        }
        i += more + 1;
    }
    return std::string_view::npos;
}

}  // namespace vek
