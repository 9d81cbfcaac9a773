// The table output service: an object protocol of numbered methods with tagged arguments.
//
// Only frame/table.h and the frame's driver call it directly; rooms of the module write through class Table.
#pragma once

#include <cstdint>
#include <string_view>

namespace vek {

struct HostObject;

/// One argument of a method. `type` tells which member of the value holds: 1 one character, 3 integer, 5 double,
/// 12 object or a result slot for an object, 13 flag, 17 pointer to the variable read at each row, 20 counted text,
/// 66 text object (here also a counted text), 67 array of text objects.
struct Tag {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t length = 0;  ///< bytes of a counted text; elements of an array
    union Value {
        std::int64_t integer;
        double number;
        const void* pointer;
        HostObject* object;
        HostObject** result;
        constexpr Value() : integer(0) {}
        constexpr Value(std::int64_t i) : integer(i) {}
        constexpr Value(double d) : number(d) {}
        constexpr Value(const void* p) : pointer(p) {}
        constexpr Value(HostObject* o) : object(o) {}
        constexpr Value(HostObject** r) : result(r) {}
    } value{};
};

constexpr Tag tag_integer(int tag, std::int64_t v) { return {static_cast<std::uint16_t>(tag), 3, 0, {v}}; }
constexpr Tag tag_number(int tag, double v) { return {static_cast<std::uint16_t>(tag), 5, 0, {v}}; }
constexpr Tag tag_character(int tag, char v) {
    return {static_cast<std::uint16_t>(tag), 1, 1, {static_cast<std::int64_t>(v)}};
}
constexpr Tag tag_flag(int tag) { return {static_cast<std::uint16_t>(tag), 13, 0, {std::int64_t{1}}}; }
constexpr Tag tag_text(int tag, std::string_view v) {
    return {static_cast<std::uint16_t>(tag),
            20,
            static_cast<std::uint32_t>(v.size()),
            {static_cast<const void*>(v.data())}};
}
constexpr Tag tag_object(int tag, HostObject* v) { return {static_cast<std::uint16_t>(tag), 12, 0, {v}}; }
constexpr Tag tag_result(int tag, HostObject** v) { return {static_cast<std::uint16_t>(tag), 12, 0, {v}}; }
/// A pointer to the variable that is read at each row, by the kind of the column: 1 a char, 3 and 4 an int, 5 a double,
/// 6 a char[width], 20 a std::string_view, 21 a std::string.
constexpr Tag tag_bound(int tag, const void* v) { return {static_cast<std::uint16_t>(tag), 17, 0, {v}}; }
/// An array of std::string_view.
constexpr Tag tag_texts(int tag, const std::string_view* v, std::uint32_t count) {
    return {static_cast<std::uint16_t>(tag), 67, count, {static_cast<const void*>(v)}};
}

/// Element (row, column), both from 0, of a matrix that is handed over by method 462; tag 112 points to one of these.
using MatrixElement = double (*)(const void* context, int row, int column);

/// Initialises the root object of the service.
void xobinit(HostObject** root, int zero);

/// Calls a method. Negative is a failure that the caller logs with xprrlog and ends the run with; 0x80008001 (as a
/// negative int) when the object has no such method. Pointers in `tags` are read during the call, except under tag
/// 285, which must stay valid until the table ends.
int wobmth(HostObject* object, int zero, int method, int count, const Tag* tags);

/// Closes a folder that method 300 opened.
int wobclose(HostObject* folder);

}  // namespace vek
