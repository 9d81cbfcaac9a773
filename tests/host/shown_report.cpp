// Reads the forms of the report back: a small reader of tags, one of pipe tables, one of ruled text, one of CSV.
#include "host/shown_report.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace vek::test {

std::string trimmed(std::string_view text) {
    const std::size_t from = text.find_first_not_of(' ');
    if (from == std::string_view::npos) return {};
    return std::string(text.substr(from, text.find_last_not_of(' ') - from + 1));
}

std::vector<std::string> words_of(const std::vector<std::string>& texts) {
    std::vector<std::string> words;
    for (const std::string& text : texts) {
        std::istringstream in(text);
        for (std::string word; in >> word;) words.push_back(word);
    }
    std::sort(words.begin(), words.end());
    return words;
}

std::string visible(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto byte = static_cast<unsigned char>(text[i]);
        const bool second = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (second) byte = static_cast<unsigned char>(text[++i]);
        if (second || byte < 32 || byte == 127) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", byte);
            result += code;
        } else {
            result += text[i];
        }
    }
    return result;
}

namespace {

void replace_all(std::string* text, std::string_view from, std::string_view to) {
    for (std::size_t at = text->find(from); at != std::string::npos; at = text->find(from, at + to.size())) {
        text->replace(at, from.size(), to);
    }
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// ---- the page -----------------------------------------------------------------------------------------------------

struct Element {
    std::string name, attributes;
    bool has_class(std::string_view wanted) const {
        const std::size_t at = attributes.find("class=\"");
        if (at == std::string::npos) return false;
        const std::string list = " " + attributes.substr(at + 7, attributes.find('"', at + 7) - at - 7) + " ";
        return list.find(" " + std::string(wanted) + " ") != std::string::npos;
    }
    bool has(std::string_view wanted) const { return attributes.find(wanted) != std::string::npos; }
    std::size_t span() const {
        const std::size_t at = attributes.find("colspan=\"");
        return at == std::string::npos ? 1 : static_cast<std::size_t>(std::atoi(attributes.c_str() + at + 9));
    }
};

class PageReader {
  public:
    explicit PageReader(const std::string& html) : html_(html) {}
    ShownPage read();

  private:
    void opens(const Element& element);
    void closes(const Element& element);
    void fault(const std::string& what) { page_.faults.push_back(what + " at byte " + std::to_string(at_)); }
    ShownTable& table() { return page_.tables.back(); }
    void end_row();

    const std::string& html_;
    std::size_t at_ = 0;
    ShownPage page_;
    std::vector<Element> open_;
    std::string text_;  // since the last tag that matters
    std::vector<std::string> titles_, user_titles_, before_, over_;
    std::vector<Element> row_elements_;
    std::vector<std::string> row_texts_;
    std::size_t blocks_ = 0, block_row_ = 0, repeated_ = 0, heading_rows_ = 0;
    bool in_figure_ = false, last_was_title_ = false, last_was_user_ = false;
};

void PageReader::opens(const Element& element) {
    if (element.name == "br") {
        if (in_figure_ && !open_.empty() && open_.back().name == "figcaption") {
            table().head.push_back(text_);
            text_.clear();
        } else {
            text_ += ' ';
        }
        return;
    }
    if (element.name == "meta") return;
    if (element.name == "script" || element.name == "link" || element.name == "img") fault("<" + element.name + ">");
    if (element.name == "figure") {
        page_.tables.push_back({user_titles_, before_, {}, {}, {}, {}});
        table().titles.insert(table().titles.end(), titles_.begin(), titles_.end());
        before_.clear();
        blocks_ = 0;
        in_figure_ = true;
    } else if (element.name == "table") {
        if (blocks_++ > 0) {
            repeated_ = 0;
            if (!table().rows.empty()) {
                for (const ShownCell& cell : table().rows.front()) repeated_ += cell.row_heading ? 1 : 0;
            }
        }
        block_row_ = heading_rows_ = 0;
        over_.clear();
    } else if (element.name == "tr") {
        row_elements_.clear();
        row_texts_.clear();
    } else if (element.name == "span" && in_figure_) {
        if (!text_.empty()) table().head.push_back(text_);
    }
    text_.clear();
    open_.push_back(element);
}

void PageReader::end_row() {
    const bool in_head = std::any_of(open_.begin(), open_.end(), [](const Element& e) { return e.name == "thead"; });
    const std::size_t skip = blocks_ > 1 ? repeated_ : 0;
    if (in_head) {
        std::vector<std::string> texts;
        for (std::size_t i = 0; i < row_elements_.size(); ++i) {
            for (std::size_t k = 0; k < row_elements_[i].span(); ++k) texts.push_back(row_texts_[i]);
        }
        if (over_.empty() && row_elements_.size() > 0 && html_.compare(at_, 9, "\n</thead>") != 0) {
            over_ = texts;
            return;
        }
        if (!over_.empty() && over_.size() != texts.size()) fault("headings over columns do not cover them");
        for (std::size_t i = skip; i < texts.size(); ++i) {
            const std::string over = over_.empty() ? std::string() : over_[i];
            table().headings.push_back(over + (over.empty() || texts[i].empty() ? "" : " ") + texts[i]);
        }
        return;
    }
    if (blocks_ == 1) table().rows.emplace_back();
    if (block_row_ >= table().rows.size()) return fault("a block has more rows than the one before it");
    ShownRow& row = table().rows[block_row_++];
    for (std::size_t i = 0; i < row_elements_.size(); ++i) {
        ShownCell cell{row_texts_[i], row_elements_[i].name == "th", row_elements_[i].has_class("m")};
        replace_all(&cell.text, "\u2007", "");
        replace_all(&cell.text, "\u2008", "");
        if (i < skip) {
            if (!cell.row_heading || cell.text != row[i].text) fault("a row heading is not repeated");
            continue;
        }
        row.push_back(std::move(cell));
    }
}

void PageReader::closes(const Element& element) {
    if (open_.empty() || open_.back().name != element.name) return fault("</" + element.name + "> closes nothing");
    const Element opened = open_.back();
    open_.pop_back();
    for (const auto& [from, to] : std::array<std::pair<std::string_view, std::string_view>, 5>{
             {{"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&amp;", "&"}}}) {
        replace_all(&text_, from, to);
    }
    if (element.name == "h1") {
        user_titles_ = {text_};
    } else if (element.name == "p" && opened.has_class("user")) {
        if (!last_was_title_) user_titles_.clear();
        user_titles_.push_back(text_);
    } else if (element.name == "p" && opened.has_class("title")) {
        if (!last_was_title_ || last_was_user_) titles_.clear();
        titles_.push_back(text_);
    } else if (element.name == "p" && opened.has_class("note")) {
        (in_figure_ ? table().after : before_).push_back(text_);
    } else if (element.name == "span" || element.name == "figcaption") {
        if (in_figure_ && !text_.empty()) table().head.push_back(text_);
    } else if (element.name == "td" || element.name == "th") {
        row_elements_.push_back(opened);
        row_texts_.push_back(text_);
    } else if (element.name == "tr") {
        end_row();
    } else if (element.name == "figure") {
        in_figure_ = false;
    } else if (element.name == "li" &&
               (opened.has_class("note") || opened.has_class("warning") || opened.has_class("error"))) {
        page_.log.push_back(text_);
    } else if (element.name == "pre") {
        return;  // the text of its entry goes on
    }
    last_was_title_ = element.name == "p" && opened.has_class("title");
    last_was_user_ = last_was_title_ && opened.has_class("user");
    text_.clear();
}

ShownPage PageReader::read() {
    const std::size_t style = html_.find("<style>"), style_end = html_.find("</style>");
    while (at_ < html_.size()) {
        if (at_ == style) at_ = style_end + 8;
        if (html_[at_] != '<') {
            const std::size_t next = std::min(html_.find('<', at_), html_.size());
            text_.append(html_, at_, next - at_);
            at_ = next;
            continue;
        }
        const std::size_t end = html_.find('>', at_);
        if (end == std::string::npos) {
            fault("a tag without end");
            break;
        }
        std::string tag = html_.substr(at_ + 1, end - at_ - 1);
        at_ = end + 1;
        if (tag.starts_with('!')) continue;
        const bool close = tag.starts_with('/');
        if (close) tag.erase(0, 1);
        const std::size_t name_end = std::min(tag.find(' '), tag.size());
        const Element element{tag.substr(0, name_end), tag.substr(name_end)};
        // Inside an entry of the log only its end matters.
        if (element.name == "pre") {
            text_ += '\n';
            if (!close) open_.push_back(element);
            if (close && !open_.empty()) open_.pop_back();
            continue;
        }
        if (close) {
            closes(element);
        } else {
            opens(element);
        }
    }
    for (const Element& element : open_) fault("<" + element.name + "> is never closed");
    return std::move(page_);
}

}  // namespace

ShownPage read_page(const std::string& html) { return PageReader(html).read(); }

// ---- Markdown -----------------------------------------------------------------------------------------------------

namespace {

std::string without_escapes(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) ++i;
        result += text[i];
    }
    return result;
}

std::vector<std::string> pipe_cells(const std::string& line) {
    std::vector<std::string> cells;
    std::string cell;
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '\\' && i + 1 < line.size()) {
            cell += line[++i];
        } else if (line[i] == '|') {
            cells.push_back(trimmed(cell));
            cell.clear();
        } else {
            cell += line[i];
        }
    }
    return cells;
}

}  // namespace

std::vector<ShownTable> read_markdown(const std::string& text) {
    std::vector<ShownTable> tables;
    std::vector<std::string> titles, paragraphs, head;
    int line_of_table = 0;
    bool in_titles = false;
    for (const std::string& line : lines_of(text)) {
        if (line.empty()) {
            line_of_table = 0;
        } else if (line.starts_with("|")) {
            in_titles = false;
            ++line_of_table;
            if (line_of_table == 1) {
                if (!tables.empty()) tables.back().after = paragraphs;
                tables.push_back({titles, paragraphs, head, pipe_cells(line), {}, {}});
                head.clear();
                paragraphs.clear();
            } else if (line_of_table > 2) {
                tables.back().rows.emplace_back();
                for (std::string& cell : pipe_cells(line)) tables.back().rows.back().push_back({std::move(cell)});
            }
        } else if (line.starts_with("# ")) {
            titles = {without_escapes(line.substr(2))};
            in_titles = true;
        } else if (line.starts_with("## ")) {
            in_titles = false;
        } else if (line.starts_with("**")) {
            head.push_back(without_escapes(line.substr(2, line.size() - 4)));
            in_titles = false;
        } else if (in_titles) {
            titles.push_back(without_escapes(line));
        } else {
            (head.empty() ? paragraphs : head).push_back(without_escapes(line));
        }
    }
    if (!tables.empty()) tables.back().after = paragraphs;
    return tables;
}

// ---- the listing --------------------------------------------------------------------------------------------------

namespace {

bool is_rule(const std::string& line) { return line.size() > 1 && line.find_first_not_of('-') == std::string::npos; }

/// Columns of a terminal that a text takes, for the characters that the tests use.
int terminal_width(std::string_view text) {
    int width = 0;
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const int length = byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
        std::uint32_t code = length == 1 ? byte : byte & (0xFFU >> (length + 1));
        for (int k = 1; k < length; ++k) {
            code = code << 6 | (static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]) & 0x3FU);
        }
        const bool combining = code >= 0x300 && code < 0x370;
        const bool wide = (code >= 0x2E80 && code < 0xA4D0) || (code >= 0xAC00 && code < 0xD7A4) || code >= 0x1F300;
        width += combining ? 0 : wide ? 2 : 1;
        i += static_cast<std::size_t>(length);
    }
    return width;
}

}  // namespace

ListedTable read_listed(const std::vector<std::string>& lines, std::size_t from, const ShownTable& like) {
    ListedTable result;
    std::size_t at = from;
    const auto heads = [&](std::size_t line) {
        for (std::size_t i = 0; i < like.head.size(); ++i) {
            if (line + i >= lines.size() || trimmed(lines[line + i]) != trimmed(like.head[i])) return false;
        }
        return line + like.head.size() < lines.size() && lines[line + like.head.size()].empty();
    };
    for (; at < lines.size() && !heads(at); ++at) {
        if (!lines[at].empty()) result.before.push_back(lines[at]);
    }
    if (at == lines.size()) return result;
    result.head.assign(lines.begin() + static_cast<std::ptrdiff_t>(at),
                       lines.begin() + static_cast<std::ptrdiff_t>(at + like.head.size()));
    at += like.head.size() + 1;
    if (like.headings.empty()) {
        for (; at < lines.size() && !lines[at].empty(); ++at) {
            if (result.rows.size() == like.rows.size()) break;
            result.rows.push_back(lines[at]);
        }
    } else {
        std::size_t wanted = 0;
        for (const ShownRow& row : like.rows) {
            wanted += std::any_of(row.begin(), row.end(), [](const ShownCell& c) { return !c.text.empty(); }) ? 1 : 0;
        }
        // A heading over all columns has a rule of its own, which is not the one above the rows.
        while (true) {
            for (; at < lines.size() && !is_rule(lines[at]); ++at) result.heading_lines.push_back(lines[at]);
            std::size_t end = at + 1;
            result.rows.clear();
            for (; end < lines.size() && !is_rule(lines[end]); ++end) {
                if (!lines[end].empty()) result.rows.push_back(lines[end]);
            }
            if (end >= lines.size()) return result;
            if (result.rows.size() == wanted) {
                at = end + 1;
                break;
            }
            ++at;
        }
    }
    result.end = at;
    result.found = true;
    return result;
}

bool place_cells(const std::string& line, const ShownRow& row, std::vector<std::pair<int, int>>* places) {
    places->assign(row.size(), {0, 0});
    std::size_t at = 0;
    int column = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::string& text = row[i].text;
        if (text.empty()) continue;
        const std::size_t before = at;
        if (text[0] != ' ') {
            while (at < line.size() && line[at] == ' ') ++at;
        } else {
            // A text that begins with blanks: as many of them as it has, behind those that lie between.
            at = line.find_first_not_of(' ', at);
            const std::size_t own = text.find_first_not_of(' ');
            if (at == std::string::npos || at < before + own) return false;
            at -= own;
        }
        const bool apart = at > before || before == 0 || row[i].mark;
        if (!apart || line.compare(at, text.size(), text) != 0) return false;
        column += static_cast<int>(at - before);
        const int width = terminal_width(text);
        (*places)[i] = {column, column + width};
        column += width;
        at += text.size();
    }
    return line.find_first_not_of(' ', at) == std::string::npos;
}

// ---- CSV ----------------------------------------------------------------------------------------------------------

std::vector<std::vector<std::string>> read_csv(const std::string& text) {
    std::vector<std::vector<std::string>> rows{{std::string()}};
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        std::string& field = rows.back().back();
        if (quoted && c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
            field += text[++i];
        } else if (c == '"') {
            quoted = !quoted;
        } else if (quoted) {
            field += c;
        } else if (c == ',') {
            rows.back().emplace_back();
        } else if (c == '\n') {
            rows.push_back({std::string()});
        } else {
            field += c;
        }
    }
    rows.pop_back();
    return rows;
}

}  // namespace vek::test
