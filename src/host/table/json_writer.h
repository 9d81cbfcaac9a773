// Writes JSON as a stream: turns calls for objects, arrays, names and values into text with commas, escapes and
// numbers in place. Nothing is kept but the depth and the buffer, so a document may be as long as the disk allows.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vek {

class JsonWriter {
  public:
    /// Takes the text piece by piece, in order.
    using Sink = std::function<void(std::string_view)>;

    explicit JsonWriter(Sink sink);
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;
    ~JsonWriter() = default;  // flush() is explicit: a sink may fail

    void begin_object();
    void end_object();
    void begin_array();
    void end_array();
    /// The name of the next member of an object.
    void name(std::string_view text);

    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text)); }
    void value(const std::string& text) { value(std::string_view(text)); }
    void value(std::int64_t number);
    void value(int number) { value(std::int64_t{number}); }
    /// The fewest digits that read back as the same double; a missing value as its text; null for a NaN or an infinity.
    void value(double number);
    void value(bool) = delete;

    template <class T>
    void member(std::string_view text, const T& v) {
        name(text);
        value(v);
    }

    /// A place in an array or object, between two elements and after flush(), to which the document can go back when
    /// the text behind it is dropped.
    struct Place {
        bool first = true;
    };
    Place place() const { return {first_}; }
    void go_back(Place place) {
        first_ = place.first;
        named_ = new_line_ = false;
        buffer_.clear();
    }

    /// Starts a new line before the next element, for readers of the file; JSON does not mind.
    void line();
    void flush();

  private:
    void separate();
    void put(std::string_view text);
    void escape(std::string_view text);

    Sink sink_;
    std::string buffer_;
    bool first_ = true;   // no comma before the next element
    bool named_ = false;  // a name stands before the next element
    bool new_line_ = false;
};

}  // namespace vek
