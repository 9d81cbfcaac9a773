// Names of encodings, and bytes in one of them to UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vek {

struct Encoding {
    enum class Kind { utf8, utf16, utf16_little, utf16_big, ascii, table } kind = Kind::utf8;
    std::string_view name = "UTF-8";
    const char16_t* table = nullptr;  ///< characters of the bytes 128 to 255

    bool operator==(const Encoding& other) const { return name == other.name; }
};

/// Finds an encoding by its name or an alias; case, blanks, hyphens and underscores do not count.
bool find_encoding(std::string_view name, Encoding* encoding);
/// The names of all encodings, for a message.
std::string encoding_names();

/// The byte that a decoder puts where its input is not valid: it never occurs in UTF-8.
constexpr char invalid_byte = '\xFF';

/// Turns pieces of text in one encoding into UTF-8; a character may be cut by the end of a piece.
class Decoder {
  public:
    explicit Decoder(Encoding encoding) : encoding_(encoding) {}
    /// Appends the UTF-8 of `bytes`; with `last` nothing follows.
    void decode(std::string_view bytes, bool last, std::string* out);

  private:
    void decode_utf16(std::string_view bytes, bool last, std::string* out);
    void unit(unsigned value, std::string* out);
    Encoding encoding_;
    bool started_ = false;
    int half_ = -1;           ///< first byte of a unit whose second has not come
    unsigned surrogate_ = 0;  ///< first unit of a pair
};

/// Offset of the first byte that is not valid UTF-8, or npos.
std::size_t find_invalid_utf8(std::string_view text);

}  // namespace vek
