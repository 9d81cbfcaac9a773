// Turns the context of a table into the lines that stand above it.
#include "host/table/heading.h"

#include <algorithm>
#include <cctype>

#include "host/table/text_width.h"

namespace vek {

namespace {

std::string visible(std::string_view text) {
    std::string buffer;
    return std::string(shown(text, buffer));
}

// True when `word` stands in the text between characters that are not part of a name.
bool says(std::string_view text, std::string_view word) {
    const auto inside = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at == 0 || !inside(text[at - 1])) && (end == text.size() || !inside(text[end]))) return true;
    }
    return false;
}

}  // namespace

std::vector<std::string> title_lines(const ReportContext& context) {
    std::vector<std::string> lines;
    for (const std::string& title : context.titles) lines.push_back(visible(title));
    return lines;
}

std::string by_line(const ReportContext& context) {
    std::string line;
    for (const auto& [name, value] : context.by) {
        if (!line.empty()) line += "  ";
        line += visible(name) + " = " + visible(value);
    }
    return line;
}

std::string folder_heading(const FolderLevel& level) {
    const std::string text = visible(level.label.empty() ? level.name : level.label);
    if (level.key == "Dependent") return text == level.name ? "Dependent variable: " + text : text;
    if (level.key == "Effect" || level.key == "Hypothesis") return text == level.name ? level.key + ": " + text : text;
    return text;
}

std::vector<std::string> folder_headings(const ReportContext& context) {
    std::vector<std::string> headings;
    for (const FolderLevel& level : context.path) {
        const bool said = !level.key.empty() &&
                          std::any_of(context.titles.begin() + static_cast<std::ptrdiff_t>(context.user_titles),
                                      context.titles.end(), [&](const std::string& t) { return says(t, level.name); });
        if (!said) headings.push_back(folder_heading(level));
    }
    return headings;
}

bool same_titles(const ReportContext& a, const ReportContext& b) {
    return a.step == b.step && a.by == b.by && a.titles == b.titles;
}

bool same_folders(const ReportContext& a, const ReportContext& b) {
    return std::equal(
        a.path.begin(), a.path.end(), b.path.begin(), b.path.end(),
        [](const FolderLevel& x, const FolderLevel& y) { return x.name == y.name && x.label == y.label; });
}

}  // namespace vek
