// Finds the block of text of a template and reads it: a line is a caption, a line above or below the table, a heading
// over columns, or a column with its clauses.
#include "host/table/template.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>
#include <memory>

namespace vek {

namespace {

constexpr std::string_view template_texts[] = {
#include "host/table/templates/model.txt"
    ,
#include "host/table/templates/fit.txt"
    ,
#include "host/table/templates/means.txt"
    ,
#include "host/table/templates/lsmeans.txt"
    ,
#include "host/table/templates/multivariate.txt"
    ,
#include "host/table/templates/repeated.txt"
    ,
#include "host/table/templates/random.txt"
};

bool same(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

// Words of one line: a quoted text is one word without its quotes; commas separate like blanks.
class Words {
  public:
    explicit Words(std::string_view line) : rest_(line) { next(); }

    bool done() const { return !some_; }
    bool quoted() const { return quoted_; }
    bool open() const { return open_; }  ///< a quote that is not closed
    std::string_view word() const { return word_; }

    void next() {
        const std::size_t start = rest_.find_first_not_of(" ,\t\r");
        some_ = start != std::string_view::npos;
        quoted_ = false;
        word_ = {};
        if (!some_) return;
        rest_.remove_prefix(start);
        if (rest_.front() == '"') {
            quoted_ = true;
            const std::size_t end = rest_.find('"', 1);
            open_ = open_ || end == std::string_view::npos;
            word_ = rest_.substr(1, end == std::string_view::npos ? end : end - 1);
            rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        } else {
            const std::size_t end = std::min(rest_.find_first_of(" ,\t\r"), rest_.size());
            word_ = rest_.substr(0, end);
            rest_.remove_prefix(end);
        }
    }
    /// Takes the word when it is this one, unquoted.
    bool accept(std::string_view wanted) {
        if (!some_ || quoted_ || word_ != wanted) return false;
        next();
        return true;
    }
    bool text(std::string_view* result) {
        if (!some_ || !quoted_) return false;
        *result = word_;
        next();
        return true;
    }
    bool name(std::string_view* result) {
        if (!some_ || quoted_) return false;
        *result = word_;
        next();
        return true;
    }
    bool number(int* result) {
        if (!some_ || quoted_) return false;
        const auto [end, code] = std::from_chars(word_.data(), word_.data() + word_.size(), *result);
        if (code != std::errc() || end != word_.data() + word_.size()) return false;
        next();
        return true;
    }

  private:
    std::string_view rest_, word_;
    bool some_ = false, quoted_ = false, open_ = false;
};

bool read_clause(Words& words, TemplateColumn& column) {
    int number = 0;
    if (words.accept("heading")) {
        column.has_heading = true;
        return words.text(&column.heading);
    }
    if (words.accept("left")) return column.alignment = Alignment::left, true;
    if (words.accept("right")) return column.alignment = Alignment::right, true;
    if (words.accept("centred")) return column.alignment = Alignment::centre, true;
    if (words.accept("width")) return words.number(&column.width);
    if (words.accept("decimals")) {  // "decimals from the procedure"
        column.form = NumberForm::fixed;
        return words.accept("from") && words.accept("the") && words.accept("procedure");
    }
    if (words.number(&number)) {
        column.decimals = number;
        if (column.form == NumberForm::by_kind) column.form = NumberForm::fixed;
        return words.accept("decimals");
    }
    if (words.accept("best")) return column.form = NumberForm::best, true;
    if (words.accept("p-value")) return column.form = NumberForm::p_value, true;
    if (words.accept("percent")) return column.form = NumberForm::percent, true;
    if (words.accept("hidden")) return column.hidden = true;
    if (words.accept("once")) return column.once = true;
    if (words.accept("tight")) return column.tight = true;
    if (words.accept("keeping")) {
        column.keeps_digits = true;
        return words.accept("digits");
    }
    if (words.accept("beside")) return column.beside = true;
    if (words.accept("row")) {
        column.row_heading = true;
        return words.accept("heading");
    }
    if (words.accept("break")) return column.breaks = column.hidden = true;
    if (words.accept("mark")) return words.text(&column.mark);
    if (words.accept("note")) return words.text(&column.mark_note);
    if (words.accept("missing")) {
        std::string_view code, text;
        if (!words.name(&code) || code.empty() || code.front() != '.' || code.size() > 2 || !words.text(&text)) {
            return false;
        }
        column.missing.emplace_back(code.back(), text);
        return true;
    }
    if (words.accept("span")) {
        TemplateSpan span;
        span.keyed = true;
        if (!words.text(&span.text) || !words.accept("over") || !words.name(&span.from)) return false;
        if (words.accept("to") && !words.name(&span.to)) return false;
        column.spans.push_back(span);
        return true;
    }
    return false;
}

bool read_line(std::string_view line, TableTemplate& result) {
    Words words(line);
    std::string_view text;
    if (words.accept("caption:")) return words.text(&text) && (result.captions.push_back(text), words.done());
    if (words.accept("above:")) return words.text(&text) && (result.above.push_back(text), words.done());
    if (words.accept("below:")) return words.text(&text) && (result.below.push_back(text), words.done());
    if (words.accept("span:")) {
        TemplateSpan span;
        if (!words.text(&span.text) || !words.accept("over") || !words.name(&span.from)) return false;
        if (words.accept("to") && !words.name(&span.to)) return false;
        result.spans.push_back(span);
        return words.done();
    }
    TemplateColumn column;
    if (!words.name(&column.name) || column.name.back() == ':') return false;
    if (result.column(column.name) != nullptr) return false;
    while (!words.done()) {
        if (!read_clause(words, column)) return false;
    }
    result.columns.push_back(std::move(column));
    return !words.open();
}

std::string_view next_line(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

constexpr std::string_view opening = "template ";

// Calls `visit` with the path and the body of each template until it returns true.
template <class Visit>
void each_template(Visit visit) {
    for (std::string_view text : template_texts) {
        while (!text.empty()) {
            const std::string_view line = next_line(text);
            if (!line.starts_with(opening)) continue;
            std::size_t end = text.starts_with(opening) ? 0 : text.find("\ntemplate ");
            if (end == std::string_view::npos) end = text.size();
            if (visit(line.substr(opening.size()), text.substr(0, end))) return;
        }
    }
}

}  // namespace

const TemplateColumn* TableTemplate::column(std::string_view name) const {
    const auto found = std::find_if(columns.begin(), columns.end(), [&](const auto& c) { return same(c.name, name); });
    return found == columns.end() ? nullptr : &*found;
}

bool read_template(std::string_view text, TableTemplate* result, std::string* fault) {
    while (!text.empty()) {
        std::string_view line = next_line(text);
        const std::size_t start = line.find_first_not_of(" \t\r");
        if (start == std::string_view::npos || line[start] == '#') continue;
        if (!read_line(line.substr(start), *result)) {
            *fault = std::string("template ") + std::string(result->path) + ": " + std::string(line.substr(start));
            return false;
        }
    }
    return true;
}

const TableTemplate* find_template(std::string_view path) {
    static std::map<std::string, std::unique_ptr<TableTemplate>, std::less<>> known;
    if (const auto found = known.find(path); found != known.end()) return found->second.get();
    std::unique_ptr<TableTemplate> made;
    each_template([&](std::string_view name, std::string_view body) {
        if (!same(name, path)) return false;
        made = std::make_unique<TableTemplate>();
        made->path = name;
        std::string fault;
        read_template(body, made.get(), &fault);  // a test reads them all
        return true;
    });
    return known.emplace(std::string(path), std::move(made)).first->second.get();
}

std::vector<std::string_view> template_paths() {
    std::vector<std::string_view> paths;
    each_template([&](std::string_view name, std::string_view) {
        paths.push_back(name);
        return false;
    });
    return paths;
}

}  // namespace vek
