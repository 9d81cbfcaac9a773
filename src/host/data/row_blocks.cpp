// Fills the buffer, indexes it, and lays out rows: as the index stands when every line is a row of the right number of
// fields, else row by row into a layout of its own, without blank lines and carriage returns.
#include "host/data/row_blocks.h"

#include <algorithm>
#include <cstring>

#include "frame/host_message.h"

namespace vek {

namespace {

/// Bytes of the buffer in front of the text: the columns' routines may read there.
constexpr std::size_t front = field_slack;
/// Bytes behind it: a line end that the file lacks, and what the index routine may read.
constexpr std::size_t behind = 128;

std::size_t first_capacity = block_bytes;

std::size_t count_feeds(const char* begin, const char* end) {
    std::size_t count = 0;
    while (begin < end) {
        const void* feed = std::memchr(begin, '\n', static_cast<std::size_t>(end - begin));
        if (feed == nullptr) break;
        begin = static_cast<const char*>(feed) + 1;
        ++count;
    }
    return count;
}

/// The line of `text` around `at`, cut to what fits in a message.
void show_line(std::string_view text, std::size_t at, std::size_t length, RowFault* fault) {
    constexpr std::size_t before = 60, after = 90;
    at = std::min(at, text.size());
    std::size_t begin = at, end = at;
    while (begin > 0 && text[begin - 1] != '\n' && at - begin < before) --begin;
    while (end < text.size() && text[end] != '\n' && end - at < after) ++end;
    // Not in the middle of a character.
    const auto continues = [&](std::size_t i) { return i < text.size() && (text[i] & '\xC0') == '\x80'; };
    while (begin < at && continues(begin)) ++begin;
    while (end > at && continues(end)) --end;
    if (end > at && text[end - 1] == '\r') --end;
    fault->text = text.substr(begin, end - begin);
    fault->begin = at - begin;
    for (std::size_t i = begin; i > 0 && text[i - 1] != '\n'; --i) {
        if ((text[i - 1] & '\xC0') != '\x80') ++fault->before;
    }
    fault->length = std::max<std::size_t>(1, std::min(length, end - at));
}

/// Walks over the rows of a text by the rules, one byte after the other.
class FaultFinder {
  public:
    FaultFinder(std::string_view text, const RowForm& form, std::int64_t line)
        : text_(text), form_(form), line_(line) {}

    RowFault find() {
        while (at_ < text_.size() && fault_.kind == RowFaultKind::none) row();
        return fault_;
    }

  private:
    bool fail(RowFaultKind kind, std::size_t at, std::size_t length, std::int64_t line) {
        fault_.kind = kind;
        fault_.line = line;
        show_line(text_, at, length, &fault_);
        return false;
    }

    std::size_t line_end_at(std::size_t at) const {
        if (at < text_.size() && text_[at] == '\n') return 1;
        if (at + 1 < text_.size() && text_[at] == '\r' && text_[at + 1] == '\n') return 2;
        return 0;
    }

    void row() {
        const std::size_t begin = at_;
        const std::int64_t line = line_;
        fault_.row = begin;
        if (const std::size_t blank = line_end_at(at_); blank > 0 && form_.columns != 1) {
            if (form_.columns == 0) {
                fail(RowFaultKind::empty_names, at_, 1, line_);
                return;
            }
            at_ += blank;
            ++line_;
            return;
        }
        int fields = 0;
        std::size_t extra = begin, last = begin;
        for (;;) {
            if (fields == form_.columns) extra = at_;
            last = at_;
            if (!field()) return;
            ++fields;
            if (at_ >= text_.size() || text_[at_] != form_.delimiter) break;
            ++at_;
            if (at_ == text_.size()) {
                // A separator at the end of the file: one more field, and it is empty.
                if (fields == form_.columns) extra = at_;
                ++fields;
                break;
            }
        }
        const std::string_view row = text_.substr(begin, at_ - begin);
        if (const std::size_t bad = find_invalid_utf8(row); bad != std::string_view::npos) {
            const auto feeds = count_feeds(row.data(), row.data() + bad);
            fail(RowFaultKind::bad_encoding, begin + bad, 1, line + static_cast<std::int64_t>(feeds));
            return;
        }
        if (form_.columns > 0 && fields != form_.columns) {
            fault_.fields = fields;
            if (fields < form_.columns) {
                fail(RowFaultKind::too_few_fields, at_, 1, line);
            } else {
                fail(RowFaultKind::too_many_fields, extra, extra == last ? at_ - extra : 1, line);
            }
            fault_.behind_line =
                row.substr(0, fields < form_.columns ? row.size() : extra - begin).find('\n') != std::string_view::npos;
            return;
        }
        at_ += line_end_at(at_);
        ++line_;
    }

    /// Moves to the delimiter, the line end or the end of the text behind the field.
    bool field() {
        if (at_ < text_.size() && text_[at_] == '"') return quoted();
        for (; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            if (c == form_.delimiter || c == '\n') return true;
            if (c == '"') return fail(RowFaultKind::quote_inside, at_, 1, line_);
            if (c == '\0') return fail(RowFaultKind::zero_byte, at_, 1, line_);
            if (c == '\r') {
                if (line_end_at(at_) == 2) return true;
                return fail(RowFaultKind::lone_return, at_, 1, line_);
            }
        }
        return true;
    }

    bool quoted() {
        const std::size_t open = at_;
        const std::int64_t line = line_;
        for (++at_; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            if (c == '\0') return fail(RowFaultKind::zero_byte, at_, 1, line_);
            if (c == '\n') ++line_;
            if (c != '"') continue;
            if (at_ + 1 < text_.size() && text_[at_ + 1] == '"') {
                ++at_;
                continue;
            }
            ++at_;
            if (at_ == text_.size() || text_[at_] == form_.delimiter || line_end_at(at_) > 0) return true;
            if (text_[at_] == '\r') return fail(RowFaultKind::lone_return, at_, 1, line_);
            return fail(RowFaultKind::quote_after, at_, 1, line_);
        }
        return fail(RowFaultKind::quote_open, open, 1, line);
    }

    std::string_view text_;
    RowForm form_;
    std::int64_t line_;
    std::size_t at_ = 0;
    RowFault fault_;
};

}  // namespace

RowFault find_fault(std::string_view text, const RowForm& form, std::int64_t line) {
    return FaultFinder(text, form, line).find();
}

void set_block_bytes(std::size_t bytes) { first_capacity = bytes == 0 ? block_bytes : bytes; }

RowBlocks::RowBlocks() = default;

void RowBlocks::grow(std::size_t capacity) {
    auto larger = std::make_unique_for_overwrite<char[]>(front + capacity + behind);
    if (end_ > begin_) std::memcpy(larger.get() + front, buffer_.get() + begin_, end_ - begin_);
    // The columns' routines may look at what stands in front of the text.
    std::memset(larger.get(), ' ', front);
    buffer_ = std::move(larger);
    end_ = front + (end_ - begin_);
    begin_ = front;
    index_ = std::make_unique_for_overwrite<std::uint32_t[]>(capacity + behind);
    capacity_ = capacity;
}

void RowBlocks::begin(ByteSource* source, const RowForm& form, const Place& at) {
    source_ = source;
    form_ = form;
    place_ = block_place_ = at;
    block_ = {};
    begin_ = end_ = front;
    at_end_ = return_at_end_ = false;
    if (buffer_ == nullptr) grow(first_capacity);
}

RowBlocks::Outcome RowBlocks::failed(RowFault fault) {
    fault_ = std::move(fault);
    block_ = {};
    return Outcome::fault;
}

/// Moves what is left to the front and reads until the buffer is full or the source has ended. A last line without an
/// end gets one.
bool RowBlocks::fill() {
    if (begin_ > front) {
        std::memmove(buffer_.get() + front, buffer_.get() + begin_, end_ - begin_);
        end_ = front + (end_ - begin_);
        begin_ = front;
    }
    const std::size_t limit = front + capacity_;
    while (!at_end_ && end_ < limit) {
        const std::ptrdiff_t count = source_->read(buffer_.get() + end_, limit - end_);
        if (count < 0) {
            fault_ = {};
            fault_.kind = RowFaultKind::unreadable;
            fault_.line = place_.line;
            fault_.text = source_->error();
            return false;
        }
        at_end_ = count == 0;
        end_ += static_cast<std::size_t>(count);
    }
    if (at_end_ && end_ > begin_ && end_ <= limit && buffer_[end_ - 1] != '\n') {
        return_at_end_ = buffer_[end_ - 1] == '\r';
        buffer_[end_++] = '\n';
    }
    return true;
}

RowBlocks::Outcome RowBlocks::take(std::string* line, bool quotes_count) {
    std::size_t looked = 0;
    bool quoted = false;
    for (;;) {
        if (!fill()) return Outcome::fault;
        const char* text = buffer_.get() + begin_;
        const std::size_t size = end_ - begin_;
        if (size == 0) return Outcome::end;
        for (; looked < size; ++looked) {
            if (text[looked] == '"' && quotes_count) quoted = !quoted;
            if (text[looked] == '\n' && !quoted) break;
        }
        if (looked < size || at_end_) break;
        if (size >= longest_row) {
            RowFault fault;
            fault.kind = RowFaultKind::row_too_long;
            fault.line = place_.line;
            return failed(fault);
        }
        grow(2 * capacity_);
    }
    const std::size_t taken = std::min(looked + 1, end_ - begin_);
    line->assign(buffer_.get() + begin_, taken);
    if (line->ends_with('\n')) line->pop_back();
    if (line->ends_with('\r') && !(at_end_ && return_at_end_ && begin_ + taken == end_)) line->pop_back();
    place_.offset += static_cast<std::int64_t>(taken);
    place_.line += static_cast<std::int64_t>(count_feeds(buffer_.get() + begin_, buffer_.get() + begin_ + taken));
    begin_ += taken;
    return Outcome::block;
}

RowBlocks::Outcome RowBlocks::next_line(std::string* line) { return take(line, false); }

RowBlocks::Outcome RowBlocks::next_row(std::string* row) {
    const std::int64_t line = place_.line;
    const Outcome outcome = take(row, true);
    if (outcome != Outcome::block) return outcome;
    if (row->empty()) {
        RowFault fault;
        fault.kind = RowFaultKind::empty_names;
        fault.line = line;
        return failed(fault);
    }
    RowFault fault = find_fault(*row, {form_.delimiter, 0}, line);
    return fault.kind == RowFaultKind::none ? Outcome::block : failed(std::move(fault));
}

std::string_view RowBlocks::ahead(std::size_t bytes) {
    if (capacity_ < bytes) grow(bytes);
    if (end_ - begin_ < bytes && !fill()) return {};
    return {buffer_.get() + begin_, std::min(bytes, end_ - begin_)};
}

/// Indexes the whole rows among the next `limit` bytes; the number of their bytes, 0 when there is none.
std::size_t RowBlocks::whole_rows(std::size_t limit, IndexFacts* facts) {
    const void* last = ::memrchr(buffer_.get() + begin_, '\n', limit);
    if (last == nullptr) return 0;
    // The text begins one byte early, so that the first row's first field has a place in front of it: a byte that no
    // option can make the delimiter.
    char* text = buffer_.get() + begin_ - 1;
    *text = '\x7f';
    std::size_t size = static_cast<std::size_t>(static_cast<const char*>(last) - text) + 1;
    index_[0] = 0;
    *facts = index_routine()(text, size, form_.delimiter, index_.get() + 1);
    std::size_t count = facts->delimiters;
    while (count > 0 && text[index_[count]] != '\n') --count;
    if (count == 0) return 0;
    if (index_[count] + std::size_t{1} != size) {
        // The last line feed stands inside quotes: the facts must be those of the whole rows alone.
        size = index_[count] + std::size_t{1};
        *facts = index_routine()(text, size, form_.delimiter, index_.get() + 1);
    }
    return size - 1;
}

/// True when the quotes are just those around fields. False may also mean doubled quotes inside.
bool RowBlocks::well_quoted(const IndexFacts& facts) const {
    std::size_t around = 0;
    for (int row = 0; row < block_.rows; ++row) {
        const std::uint32_t* end = block_.ends + static_cast<std::size_t>(row) * block_.stride;
        for (int c = 0; c < form_.columns; ++c) {
            const std::uint32_t begin = end[c - 1] + 1;
            around += static_cast<std::size_t>(block_.text[begin] == '"' && block_.text[end[c] - 1] == '"' &&
                                               end[c] - begin >= 2);
        }
    }
    return 2 * around == facts.quotes;
}

/// Makes the block of the rows that are indexed; false when a row has a wrong number of fields.
bool RowBlocks::laid_out(const IndexFacts& facts) {
    const auto columns = static_cast<std::size_t>(form_.columns);
    const char* text = buffer_.get() + begin_ - 1;
    const std::uint32_t* ends = index_.get() + 1;
    block_.text = text;
    block_.first_line = place_.line;
    block_.lines = nullptr;
    block_.quotes = facts.quotes > 0;
    bool regular =
        facts.delimiters == facts.line_ends * columns && !facts.returns && facts.line_feeds == facts.line_ends;
    if (regular && columns > 1) {
        // Blank lines and rows of other lengths show as a row whose last place is no line end.
        std::size_t good = 0;
        for (std::size_t row = 1; row <= facts.line_ends; ++row) good += text[ends[row * columns - 1]] == '\n';
        regular = good == facts.line_ends;
    }
    if (regular) {
        block_.ends = ends;
        block_.stride = columns;
        block_.rows = static_cast<int>(facts.line_ends);
        return true;
    }
    layout_.resize(facts.line_ends * (columns + 1) + 1);
    lines_.resize(facts.line_ends);
    std::uint32_t* next = layout_.data();
    std::size_t rows = 0, at = 0;
    std::uint32_t begin = 1;
    std::int64_t line = place_.line;
    const bool inner_feeds = facts.line_feeds != facts.line_ends;
    for (std::size_t feeds = 0; feeds < facts.line_ends; ++feeds) {
        std::size_t count = 0;
        while (text[ends[at + count]] != '\n') ++count;
        const std::uint32_t feed = ends[at + count];
        const std::uint32_t end = feed > begin && text[feed - 1] == '\r' ? feed - 1 : feed;
        if (count > 0 || columns == 1 || end > begin) {
            if (count + 1 != columns) return false;
            *next++ = begin - 1;
            for (std::size_t c = 0; c < count; ++c) *next++ = ends[at + c];
            *next++ = end;
            lines_[rows++] = line;
        }
        if (inner_feeds) line += static_cast<std::int64_t>(count_feeds(text + begin, text + feed));
        ++line;
        at += count + 1;
        begin = feed + 1;
    }
    block_.ends = layout_.data() + 1;
    block_.stride = columns + 1;
    block_.rows = static_cast<int>(rows);
    block_.lines = lines_.data();
    return true;
}

/// No whole row is in the buffer: it is longer than the buffer, or a quote is open. False with the fault when more
/// bytes cannot help.
bool RowBlocks::grow_for_row(std::size_t left) {
    RowFault fault = find_fault({buffer_.get() + begin_, left}, form_, place_.line);
    const bool certain = fault.kind == RowFaultKind::quote_inside || fault.kind == RowFaultKind::quote_after ||
                         fault.kind == RowFaultKind::zero_byte;
    if (!at_end_ && !certain && left < longest_row) {
        grow(2 * capacity_);
        return true;
    }
    if (!at_end_ && !certain && fault.kind != RowFaultKind::quote_open) fault.kind = RowFaultKind::row_too_long;
    failed(std::move(fault));
    return false;
}

/// Lays out the rows that are indexed and looks for what is wrong with them: without `strict` only at their numbers of
/// fields.
RowFault RowBlocks::check_rows(std::size_t size, const IndexFacts& facts, bool strict) {
    const std::string_view text(buffer_.get() + begin_, size);
    const bool counts = laid_out(facts);
    const bool return_at_end = at_end_ && return_at_end_ && size == end_ - begin_;
    const bool suspect = !counts || facts.zero || facts.lone_return || return_at_end ||
                         (facts.beyond_ascii && find_invalid_utf8(text) != std::string_view::npos) ||
                         (facts.quotes > 0 && !well_quoted(facts));
    if (!suspect || (counts && !strict)) return {};
    RowFault fault = find_fault(return_at_end ? text.substr(0, size - 1) : text, form_, place_.line);
    if (!counts && fault.kind == RowFaultKind::none) {
        // Cannot be, as long as both ways of reading agree; a block without a layout must not get out.
        fault.kind = RowFaultKind::too_few_fields;
        fault.line = place_.line;
    }
    return fault;
}

RowBlocks::Outcome RowBlocks::next(bool strict) {
    for (;;) {
        wtpoll();
        if (!fill()) return Outcome::fault;
        const std::size_t left = end_ - begin_;
        if (left == 0) {
            block_ = {};
            block_place_ = place_;
            return Outcome::end;
        }
        IndexFacts facts;
        std::size_t size = whole_rows(left, &facts);
        if (size == 0) {
            if (!grow_for_row(left)) return Outcome::fault;
            continue;
        }
        block_place_ = place_;
        RowFault fault = check_rows(size, facts, strict);
        if (fault.kind != RowFaultKind::none) {
            // The rows in front of it are handed out first: what is wrong with one of them is wrong earlier.
            if (fault.row == 0) return failed(std::move(fault));
            size = whole_rows(fault.row, &facts);
            check_rows(size, facts, false);
        }
        place_.offset += static_cast<std::int64_t>(size);
        place_.line += static_cast<std::int64_t>(facts.line_feeds);
        begin_ += size;
        if (block_.rows > 0) return Outcome::block;
    }
}

void RowBlocks::select(const std::uint32_t* rows, int count) {
    const auto columns = static_cast<std::size_t>(form_.columns);
    const std::size_t width = columns + 1;
    const bool own = block_.ends == layout_.data() + 1;
    if (!own) layout_.resize(static_cast<std::size_t>(count) * width + 1);
    if (block_.lines == nullptr) lines_.resize(static_cast<std::size_t>(count));
    std::uint32_t* to = layout_.data();
    for (int i = 0; i < count; ++i, to += width) {
        lines_[static_cast<std::size_t>(i)] = block_.line(static_cast<int>(rows[i]));
        std::memmove(to, block_.ends + rows[i] * block_.stride - 1, width * sizeof *to);
    }
    block_.ends = layout_.data() + 1;
    block_.stride = width;
    block_.rows = count;
    block_.lines = lines_.data();
}

}  // namespace vek
