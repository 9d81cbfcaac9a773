// Messages of data sets: files, references and their options, BY groups, outputs.
#pragma once

#include "host/message/catalogue.h"

namespace vek {

inline constexpr CatalogueRow group_910[] = {
    {1, Level::error, "row has {integer} fields, the header names {integer}",
     "A field that contains the separator must be in double quotes."},
    {2, Level::error, "row has {integer} fields, the header names {integer}",
     "Every row needs a field for each name; a missing value is an empty field, a point or NA."},
    {3, Level::error, "a quote stands inside a field that does not begin with one",
     "Put the whole field in double quotes and double the quote inside it."},
    {4, Level::error, "a quote is not closed before the end of the file",
     "Close it, or double a quote that belongs to the text."},
    {5, Level::error, "something stands between a closing quote and the separator {text}",
     "A quote that belongs to the text must be doubled; blanks go inside the quotes."},
    {6, Level::error, "a byte 0 stands in the data",
     "The file is damaged, or written in UTF-16 without a byte order mark: then write ENCODING='UTF-16' behind its "
     "name."},
    {7, Level::error, "a carriage return stands alone",
     "Lines end with a line feed, or a carriage return and a line feed; put others in double quotes."},
    {8, Level::error, "bytes that are not valid {text}",
     "Write ENCODING='name' behind the file's name, such as ENCODING='windows-1252' or ENCODING='latin1'."},
    {9, Level::error, "a row is longer than {integer} bytes, the limit",
     "A quote that is not closed makes a row of everything behind it."},
    {10, Level::error, "the line that should hold the names is empty",
     "The first row holds the names; SKIP=n behind the file's name passes over n lines in front of it."},
    {11, Level::error, "the file has no row of names", "The first row of a data file holds the names of its columns."},
    {12, Level::error, "the name {text} stands twice", "Names that differ only in case are the same; rename a column."},
    {13, Level::error, "the name {text} has {integer} characters, the limit is {integer}", "Shorten it in the file."},
    {14, Level::error, "the file has {integer} columns, the limit is {integer}"},
    {15, Level::note, "column {integer} has no name and is called {text}"},
    {16, Level::note, "column {text} is text, because its field {text} is not a number"},
    {17, Level::error, "the number {text} of column {text} is too large", "Numbers reach to about 1.8e308."},
    {18, Level::error, "the field {text} of column {text} looks like a number with a decimal comma",
     "Write DECIMAL=',' behind the file's name, in parentheses."},
    {19, Level::error, "the field {text} of column {text} looks like a number with a decimal point",
     "Leave DECIMAL=',' out, or write DECIMAL='.' behind the file's name, in parentheses."},
    {20, Level::error, "the row of names is one field with {text} in it",
     "Where that is the separator, write DELIMITER={text} behind the file's name, in parentheses."},
    {21, Level::error, "could not be read: {text}", "Check the path and the rights of the file."},
    {24, Level::error, "the file was changed while it was read", "Run the program again when the file is complete."},
    {25, Level::error, "SKIP={integer} passes over the whole file, which has {integer} lines"},
};
static_assert(sound(group_910));

}  // namespace vek
