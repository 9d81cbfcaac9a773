// Keeps the report in order: which step, BY values, folders and titles hold, and which table a note belongs to.
#include "host/table/report.h"

#include <algorithm>

namespace vek {

void Report::begin_step(std::string_view procedure, int step) {
    end_step();
    procedure_ = procedure;
    step_ = step;
    changed();
}

void Report::end_step() {
    discard_unfinished();
    by_.clear();
    by_source_ = nullptr;
    procedure_.clear();
    step_ = 0;
    objects_.clear();
    changed();
}

void Report::discard_unfinished() {
    flush_lines();
    unfinished_.clear();
    std::erase_if(objects_, [](const auto& object) { return object->kind == HostObject::Class::table; });
    path_.clear();
    titles_.clear();
    last_ = nullptr;
    changed();
}

void Report::group_begins(ByValues (*values)(const DataSet*), const DataSet* data) {
    flush_lines();
    by_source_ = values;
    by_data_ = data;
    last_ = nullptr;
    changed();
}

void Report::set_by(const ByValues& values) {
    by_source_ = nullptr;
    if (values == by_) return;
    flush_lines();
    by_ = values;
    last_ = nullptr;
    changed();
}

void Report::set_user_title(int line, std::string_view text) {
    if (line < 1) return;
    const auto place = static_cast<std::size_t>(line - 1);
    if (text.empty()) {
        user_titles_.resize(std::min(user_titles_.size(), place));
    } else {
        if (user_titles_.size() <= place) user_titles_.resize(place + 1);
        user_titles_[place] = text;
    }
    last_ = nullptr;
    changed();
}

void Report::set_title(int line, std::string_view text) {
    if (line < 1) return;
    text = text.substr(0, text.find_last_not_of(' ') + 1);  // a variable without label leaves a blank
    const auto place = static_cast<std::size_t>(line - 1);
    if (titles_.size() <= place) {
        if (text.empty()) return;
        titles_.resize(place + 1);
    }
    titles_[place] = text;
    if (!text.empty()) last_ = nullptr;  // a title begins something new; taking one back does not
    changed();
}

void Report::end_titles_from(int line) {
    if (line < 1 || static_cast<std::size_t>(line) > titles_.size()) return;
    titles_.resize(static_cast<std::size_t>(line - 1));
    changed();
}

std::size_t Report::open_folder(FolderLevel level) {
    path_.push_back(std::move(level));
    last_ = nullptr;
    changed();
    return path_.size() - 1;
}

void Report::close_folder(std::size_t depth) {
    if (depth >= path_.size()) return;
    flush_lines();
    path_.resize(depth);
    changed();
}

const std::shared_ptr<const ReportContext>& Report::context() {
    if (context_ == nullptr) {
        auto made = std::make_shared<ReportContext>();
        made->procedure = procedure_;
        made->step = step_;
        if (by_source_ != nullptr) set_by(by_source_(by_data_));
        made->by = by_;
        made->path = path_;
        for (const auto* list : {&user_titles_, &titles_}) {
            std::copy_if(list->begin(), list->end(), std::back_inserter(made->titles),
                         [](const std::string& text) { return !text.empty(); });
            if (list == &user_titles_) made->user_titles = made->titles.size();
        }
        context_ = std::move(made);
    }
    return context_;
}

TableModel* Report::begin_table(TableKind kind, std::string_view name, std::string_view label) {
    auto table = std::make_unique<TableModel>();
    table->kind = kind;
    table->name = name;
    table->label = label;
    table->context = context();
    table->above = std::move(waiting_);
    waiting_.clear();
    last_ = nullptr;
    unfinished_.push_back(std::move(table));
    return unfinished_.back().get();
}

// A run with many BY groups makes the same table over and over: its columns are kept once.
void Report::share_columns(RowSet& set) {
    constexpr std::size_t remembered = 24;
    const auto found =
        std::find_if(columns_.begin(), columns_.end(), [&](const auto& known) { return *known == set.columns(); });
    if (found == columns_.end()) {
        if (columns_.size() == remembered) columns_.pop_back();
        columns_.insert(columns_.begin(), set.shared_columns());
    } else {
        set.share_columns(*found);
        std::rotate(columns_.begin(), found, found + 1);
    }
}

void Report::end_table(TableModel* table) {
    const auto found =
        std::find_if(unfinished_.begin(), unfinished_.end(), [&](const auto& t) { return t.get() == table; });
    if (found == unfinished_.end()) return;
    table->ended = true;
    for (RowSet& set : table->sets) {
        share_columns(set);
        set.fit();
    }
    items_.push_back({table->context, std::move(*found), {}});
    unfinished_.erase(found);
    last_ = table;
}

void Report::note(std::string_view text) {
    if (last_ != nullptr) {
        last_->notes.emplace_back(text);
    } else {
        if (waiting_.empty()) waiting_context_ = context();
        waiting_.emplace_back(text);
    }
}

void Report::flush_lines() {
    for (std::string& line : waiting_) items_.push_back({waiting_context_, nullptr, std::move(line)});
    waiting_.clear();
}

HostObject* Report::make_object(HostObject::Class kind, TableModel* table, std::size_t depth) {
    objects_.push_back(std::make_unique<HostObject>(HostObject{kind, table, depth}));
    return objects_.back().get();
}

void Report::free_object(const HostObject* object) {
    // The object that is given back is nearly always the one that was made last.
    for (std::size_t i = objects_.size(); i-- > 0;) {
        if (objects_[i].get() == object) {
            objects_.erase(objects_.begin() + static_cast<std::ptrdiff_t>(i));
            return;
        }
    }
}

void Report::forget(std::size_t upto) {
    while (forgotten_ < upto && !items_.empty()) {
        if (items_.front().table.get() == last_) last_ = nullptr;
        items_.pop_front();
        ++forgotten_;
    }
}

void Report::cut_back(std::size_t to) {
    waiting_.clear();
    while (!items_.empty() && end() > to) {
        if (items_.back().table.get() == last_) last_ = nullptr;
        items_.pop_back();
    }
}

}  // namespace vek
