// Conditions: a recursive-descent reader that checks types as it goes, and an evaluator that takes a whole block for
// each operation.
#include "host/data/expression.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "host/data/dataset_parts.h"
#include "host/data/expression_node.h"
#include "host/statement/diagnostics.h"
#include "host/statement/suggest.h"
#include "numeric/missing.h"

namespace vek {

namespace {

using Node = std::shared_ptr<ExpressionNode>;

// Messages about a text in the place of something else.
constexpr int text_as_number = 4, text_as_condition = 5;

class ConditionReader {
  public:
    ConditionReader(std::span<const Token> tokens, const std::function<ExpressionVariable(const Token&)>& find,
                    const ExpressionFailure& fail)
        : tokens_(tokens), find_(find), fail_(fail) {}

    Node read() {
        const Token& first = peek();
        Node node = disjunction();
        if (node == nullptr) return nullptr;
        if (!at_end()) return unexpected("an operator, AND, OR, or the end of the condition");
        if (node->text) return failed(first, text_as_condition, quoted(first.text));
        return node;
    }

  private:
    const Token& peek(std::size_t ahead = 0) const { return tokens_[std::min(at_ + ahead, tokens_.size() - 1)]; }
    bool at_end() const { return at_ + 1 >= tokens_.size(); }
    const Token& next() { return tokens_[at_end() ? tokens_.size() - 1 : at_++]; }
    bool is(std::string_view word) const { return !at_end() && peek().is(word); }
    bool accept(std::string_view word) {
        if (!is(word)) return false;
        ++at_;
        return true;
    }
    Node failed(const Token& token, int number, const std::string& argument, std::string expected = {},
                std::string suggest = {}) {
        fail_(token, number, argument, std::move(expected), std::move(suggest));
        return nullptr;
    }
    Node unexpected(std::string expected) { return failed(peek(), 1, shown_token(peek()), std::move(expected)); }
    /// Counts nodes and nesting, which bound time and stack.
    bool within_limits(const Token& token) {
        if (++nodes_ > longest_expression) {
            failed(token, 7, std::to_string(longest_expression));
            return false;
        }
        if (depth_ > deepest_expression) {
            failed(token, 6, std::to_string(deepest_expression));
            return false;
        }
        return true;
    }
    Node made(Operation operation, Node left, Node right = nullptr) {
        Node node = std::make_shared<ExpressionNode>();
        node->operation = operation;
        node->left = std::move(left);
        node->right = std::move(right);
        return node;
    }

    /// Counts one more level of nesting for as long as it lives.
    struct Level {
        explicit Level(int* depth) : depth_(depth) { ++*depth_; }
        ~Level() { --*depth_; }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        int* depth_;
    };

    Node disjunction() {
        const Level level(&depth_);
        const Token& first = peek();
        if (!within_limits(first)) return nullptr;
        Node left = conjunction();
        while (left != nullptr && (is("OR") || is("|") || is("||"))) {
            left =
                joined(Operation::logical_or, std::move(left), first, &ConditionReader::conjunction, text_as_condition);
        }
        return left;
    }

    Node conjunction() {
        const Token& first = peek();
        Node left = negation();
        while (left != nullptr && (is("AND") || is("&"))) {
            left =
                joined(Operation::logical_and, std::move(left), first, &ConditionReader::negation, text_as_condition);
        }
        return left;
    }

    /// The operator that is next, between `left` and what `operand` reads; a text on either side is refused by
    /// `refusal`.
    Node joined(Operation operation, Node left, const Token& first, Node (ConditionReader::*operand)(), int refusal) {
        const Token& word = next();
        if (!within_limits(word)) return nullptr;
        // Long chains lean to the left, and are evaluated as deep as they are long.
        if (++chain_ > longest_expression / 10) return failed(word, 6, std::to_string(longest_expression / 10));
        const Token& second = peek();
        Node right = (this->*operand)();
        if (right == nullptr) return nullptr;
        if (left->text) return failed(first, refusal, shown_token(first));
        if (right->text) return failed(second, refusal, shown_token(second));
        return made(operation, std::move(left), std::move(right));
    }

    Node negation() {
        if (!is("NOT") && !is("^") && !is("~")) return comparison();
        const Token& word = next();
        const Level level(&depth_);
        if (!within_limits(word)) return nullptr;
        const Token& first = peek();
        Node operand = negation();
        if (operand == nullptr) return nullptr;
        if (operand->text) return failed(first, text_as_condition, shown_token(first));
        return made(Operation::logical_not, std::move(operand));
    }

    /// The comparison at the cursor, moved over; `constant` when there is none.
    Operation comparison_operator() {
        struct Name {
            std::string_view word;
            Operation operation;
        };
        static constexpr Name names[] = {
            {"=", Operation::equal},          {"==", Operation::equal},         {"EQ", Operation::equal},
            {"<>", Operation::not_equal},     {"^=", Operation::not_equal},     {"~=", Operation::not_equal},
            {"!=", Operation::not_equal},     {"NE", Operation::not_equal},     {"<=", Operation::less_equal},
            {"LE", Operation::less_equal},    {"=<", Operation::less_equal},    {">=", Operation::greater_equal},
            {"GE", Operation::greater_equal}, {"=>", Operation::greater_equal}, {"<", Operation::less},
            {"LT", Operation::less},          {">", Operation::greater},        {"GT", Operation::greater},
        };
        for (const Name& name : names) {
            if (accept(name.word)) return name.operation;
        }
        return Operation::constant;
    }

    Node comparison() {
        const Token& first = peek();
        Node left = sum();
        if (left == nullptr) return nullptr;
        const std::size_t before = at_;
        const bool negated = accept("NOT") || accept("^") || accept("~");
        if (accept("IN")) {
            Node node = list(std::move(left));
            return node != nullptr && negated ? made(Operation::logical_not, std::move(node)) : node;
        }
        if (negated) at_ = before;
        if (accept("IS")) {
            const bool not_missing = accept("NOT");
            if (!accept("MISSING") && !accept("NULL"))
                return unexpected(not_missing ? "MISSING" : "MISSING or NOT MISSING");
            Node node = made(Operation::is_missing, std::move(left));
            return not_missing ? made(Operation::logical_not, std::move(node)) : node;
        }
        // a < b < c holds when both comparisons hold.
        Node all;
        for (;;) {
            const Token& word = peek();
            const Operation operation = comparison_operator();
            if (operation == Operation::constant) return all != nullptr ? all : left;
            if (!within_limits(word)) return nullptr;
            const Token& second = peek();
            Node right = sum();
            if (right == nullptr) return nullptr;
            if (left->text != right->text) {
                // The constant is what is most likely written wrongly.
                const bool at_first = left->operation == Operation::constant && right->operation != Operation::constant;
                const Token& place = at_first ? first : second;
                const bool constant = (at_first ? left : right)->operation == Operation::constant;
                return failed(place, 3, shown_token(left->text ? first : second), {},
                              constant ? of_other_type(place) : std::string());
            }
            Node one = made(operation, left, right);
            all = all == nullptr ? std::move(one) : made(Operation::logical_and, std::move(all), std::move(one));
            left = std::move(right);
        }
    }

    /// The values of IN behind the word.
    Node list(Node left) {
        if (!accept("(")) return unexpected("\"(\" and the values of IN");
        Node node = made(Operation::in_list, left);
        for (;;) {
            const bool negative = accept("-");
            const Token& value = peek();
            if (!within_limits(value)) return nullptr;
            const bool number = value.is_number() || (value.kind == TokenKind::missing && !negative);
            if (at_end() || (!number && (negative || value.kind != TokenKind::string))) {
                return unexpected(left->text ? "a text in quotes" : "a number");
            }
            if (number == left->text) {
                return failed(value, left->text ? 9 : 3, shown_token(value), {}, of_other_type(value));
            }
            if (number) {
                node->numbers.push_back(negative ? -value.number : value.number);
            } else {
                node->strings.push_back(std::string(without_trailing_blanks(value.text)));
            }
            next();
            if (accept(")")) break;
            accept(",");
            if (at_end()) return failed(peek(), 8, {}, "\")\" behind the values of IN");
        }
        std::sort(node->numbers.begin(), node->numbers.end(),
                  [](double a, double b) { return compare_numbers(a, b) < 0; });
        return node;
    }

    /// A number as the text of its digits, and such a text as its number; empty for what is neither.
    static std::string of_other_type(const Token& constant) {
        if (constant.is_number()) return "'" + constant.text + "'";
        double number = 0;
        const char* end = constant.text.data() + constant.text.size();
        const auto read = std::from_chars(constant.text.data(), end, number);
        const bool whole = read.ec == std::errc() && read.ptr == end && std::isfinite(number);
        return constant.kind == TokenKind::string && whole ? constant.text : std::string();
    }

    static std::string_view without_trailing_blanks(std::string_view text) {
        while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
        return text;
    }

    Node sum() {
        const Token& first = peek();
        Node left = product();
        while (left != nullptr && (is("+") || is("-"))) {
            const Operation operation = peek().is("+") ? Operation::add : Operation::subtract;
            left = joined(operation, std::move(left), first, &ConditionReader::product, text_as_number);
        }
        return left;
    }

    Node product() {
        const Token& first = peek();
        Node left = factor();
        while (left != nullptr && (is("*") || is("/")) && !power_ahead()) {
            const Operation operation = peek().is("*") ? Operation::multiply : Operation::divide;
            left = joined(operation, std::move(left), first, &ConditionReader::factor, text_as_number);
        }
        return left;
    }

    /// ** comes as one token or as two.
    bool power_ahead() const { return is("**") || (is("*") && peek(1).is("*") && peek(1).adjoins); }

    Node factor() {
        if (is("-") || is("+")) {
            const Token& sign = next();
            const Level level(&depth_);
            if (!within_limits(sign)) return nullptr;
            const Token& first = peek();
            Node operand = factor();
            if (operand == nullptr) return nullptr;
            if (operand->text) return failed(first, text_as_number, shown_token(first));
            return sign.is("-") ? made(Operation::negate, std::move(operand)) : operand;
        }
        const Token& first = peek();
        Node base = primary();
        if (base == nullptr || !power_ahead()) return base;
        if (!accept("**")) at_ += 2;
        const Level level(&depth_);
        if (!within_limits(first)) return nullptr;
        const Token& second = peek();
        Node exponent = factor();
        if (exponent == nullptr) return nullptr;
        if (base->text) return failed(first, text_as_number, shown_token(first));
        if (exponent->text) return failed(second, text_as_number, shown_token(second));
        return made(Operation::power, std::move(base), std::move(exponent));
    }

    static constexpr const char* operand_forms = "a variable, a number, a text or \"(\"";

    static bool is_operator_word(const Token& token) {
        static constexpr std::string_view words[] = {"AND", "OR", "NOT", "IN", "IS", "EQ",
                                                     "NE",  "LT", "LE",  "GT", "GE"};
        return token.kind == TokenKind::name &&
               std::any_of(std::begin(words), std::end(words), [&](std::string_view word) { return token.is(word); });
    }

    Node primary() {
        const Token& token = peek();
        if (at_end()) return unexpected(operand_forms);
        if (!within_limits(token)) return nullptr;
        if (accept("(")) {
            Node inside = disjunction();
            if (inside == nullptr) return nullptr;
            if (!accept(")")) {
                return at_end() ? failed(peek(), 8, {}, "\")\"") : unexpected("an operator or \")\"");
            }
            return inside;
        }
        Node node = std::make_shared<ExpressionNode>();
        if (token.is_number() || token.kind == TokenKind::missing) {
            node->number = token.number;
        } else if (token.kind == TokenKind::string) {
            node->text = true;
            node->string = without_trailing_blanks(token.text);
        } else if (token.is_name()) {
            const ExpressionVariable variable = find_(token);
            if (variable.column < 0 && token.kind == TokenKind::name && peek(1).is("(")) {
                return failed(token, 10, upper_case(token.text));
            }
            if (variable.column < 0 && is_operator_word(token)) return unexpected(operand_forms);
            if (variable.column < 0) return failed(token, 2, quoted(token.text), variable.expected, variable.nearest);
            node->operation = Operation::variable;
            node->text = variable.text;
            node->column = variable.column;
        } else {
            return unexpected(operand_forms);
        }
        next();
        return node;
    }

    std::span<const Token> tokens_;
    const std::function<ExpressionVariable(const Token&)>& find_;
    const ExpressionFailure& fail_;
    std::size_t at_ = 0;
    int depth_ = 0, nodes_ = 0, chain_ = 0;
};

// ---- evaluation -------------------------------------------------------------------------------------------------

bool compared(Operation operation, int order) {
    switch (operation) {
        case Operation::less:
            return order < 0;
        case Operation::less_equal:
            return order <= 0;
        case Operation::greater:
            return order > 0;
        case Operation::greater_equal:
            return order >= 0;
        case Operation::equal:
            return order == 0;
        default:
            return order != 0;
    }
}

double computed(Operation operation, double a, double b) {
    if (wzmis(a) || wzmis(b)) return missing;
    double result = 0;
    switch (operation) {
        case Operation::add:
            result = a + b;
            break;
        case Operation::subtract:
            result = a - b;
            break;
        case Operation::multiply:
            result = a * b;
            break;
        case Operation::divide:
            result = a / b;
            break;
        default:
            result = std::pow(a, b);
            break;
    }
    return std::isfinite(result) ? result : missing;
}

bool holds(double value) { return !wzmis(value) && value != 0; }

/// Values of one node for every row of a block.
class Evaluation {
  public:
    explicit Evaluation(RowSource& rows) : rows_(rows), count_(static_cast<std::size_t>(rows.rows())) {}

    std::vector<double> numbers(const ExpressionNode& node) {
        std::vector<double> out(count_);
        switch (node.operation) {
            case Operation::constant:
                std::fill(out.begin(), out.end(), node.number);
                break;
            case Operation::variable:
                std::copy_n(rows_.numbers(node.column), count_, out.begin());
                break;
            case Operation::negate:
                out = numbers(*node.left);
                for (double& value : out) value = wzmis(value) ? missing : -value;
                break;
            case Operation::logical_not:
                out = numbers(*node.left);
                for (double& value : out) value = holds(value) ? 0 : 1;
                break;
            case Operation::logical_and:
            case Operation::logical_or: {
                out = numbers(*node.left);
                const std::vector<double> other = numbers(*node.right);
                const bool both = node.operation == Operation::logical_and;
                for (std::size_t r = 0; r < count_; ++r) {
                    out[r] = both ? holds(out[r]) && holds(other[r]) : holds(out[r]) || holds(other[r]);
                }
                break;
            }
            case Operation::is_missing:
                is_missing(*node.left, out.data());
                break;
            case Operation::in_list:
                in_list(node, out.data());
                break;
            case Operation::less:
            case Operation::less_equal:
            case Operation::greater:
            case Operation::greater_equal:
            case Operation::equal:
            case Operation::not_equal:
                compare(node, out.data());
                break;
            default: {
                out = numbers(*node.left);
                const std::vector<double> other = numbers(*node.right);
                for (std::size_t r = 0; r < count_; ++r) out[r] = computed(node.operation, out[r], other[r]);
                break;
            }
        }
        return out;
    }

  private:
    std::vector<TextValue> texts(const ExpressionNode& node) {
        if (node.operation == Operation::variable) {
            const TextValue* values = rows_.texts(node.column);
            return {values, values + count_};
        }
        return std::vector<TextValue>(count_, {node.string.data(), static_cast<std::int32_t>(node.string.size())});
    }

    void is_missing(const ExpressionNode& node, double* out) {
        if (node.text) {
            const std::vector<TextValue> values = texts(node);
            for (std::size_t r = 0; r < count_; ++r) out[r] = values[r].length == 0;
        } else {
            const std::vector<double> values = numbers(node);
            for (std::size_t r = 0; r < count_; ++r) out[r] = wzmis(values[r]);
        }
    }

    void in_list(const ExpressionNode& node, double* out) {
        if (node.left->text) {
            const std::vector<TextValue> values = texts(*node.left);
            for (std::size_t r = 0; r < count_; ++r) {
                out[r] = std::any_of(node.strings.begin(), node.strings.end(),
                                     [&](const std::string& one) { return compare_texts(values[r].view(), one) == 0; });
            }
            return;
        }
        const std::vector<double> values = numbers(*node.left);
        for (std::size_t r = 0; r < count_; ++r) {
            out[r] = std::binary_search(node.numbers.begin(), node.numbers.end(), values[r],
                                        [](double a, double b) { return compare_numbers(a, b) < 0; });
        }
    }

    void compare(const ExpressionNode& node, double* out) {
        if (node.left->text) {
            const std::vector<TextValue> left = texts(*node.left), right = texts(*node.right);
            for (std::size_t r = 0; r < count_; ++r) {
                out[r] = compared(node.operation, compare_texts(left[r].view(), right[r].view()));
            }
            return;
        }
        const std::vector<double> left = numbers(*node.left), right = numbers(*node.right);
        for (std::size_t r = 0; r < count_; ++r) out[r] = compared(node.operation, compare_numbers(left[r], right[r]));
    }

    RowSource& rows_;
    std::size_t count_;
};

}  // namespace

int compare_numbers(double a, double b) {
    const bool a_missing = wzmis(a), b_missing = wzmis(b);
    if (a_missing || b_missing) {
        if (!b_missing) return -1;
        if (!a_missing) return 1;
        const std::size_t x = missing_codes.find(missing_code(a)), y = missing_codes.find(missing_code(b));
        return x < y ? -1 : x > y;
    }
    return a < b ? -1 : a > b;
}

int compare_texts(std::string_view a, std::string_view b) {
    const std::size_t both = std::min(a.size(), b.size());
    if (const int order = both == 0 ? 0 : std::memcmp(a.data(), b.data(), both); order != 0) return order < 0 ? -1 : 1;
    for (std::size_t i = both; i < a.size(); ++i) {
        if (a[i] != ' ') return static_cast<unsigned char>(a[i]) < ' ' ? -1 : 1;
    }
    for (std::size_t i = both; i < b.size(); ++i) {
        if (b[i] != ' ') return static_cast<unsigned char>(b[i]) < ' ' ? 1 : -1;
    }
    return 0;
}

std::shared_ptr<const ExpressionNode> parse_condition(std::span<const Token> tokens,
                                                      const std::function<ExpressionVariable(const Token&)>& find,
                                                      const ExpressionFailure& fail) {
    return ConditionReader(tokens, find, fail).read();
}

void evaluate(const ExpressionNode& condition, RowSource& rows, std::uint8_t* flags) {
    const std::vector<double> values = Evaluation(rows).numbers(condition);
    for (std::size_t r = 0; r < values.size(); ++r) flags[r] = holds(values[r]);
}

bool parse_where(TokenCursor& cursor, const DataSet& data, Where* where) {
    std::vector<Token> tokens;
    int count = 0;
    while (!cursor.peek(count).ends_statement()) tokens.push_back(cursor.peek(count++));
    tokens.push_back(cursor.peek(count));
    const auto find = [&data](const Token& token) { return find_for_condition(data, token.text); };
    const auto fail = [&cursor](const Token& token, int number, const std::string& argument, std::string expected,
                                std::string suggest) {
        if (argument.empty()) {
            cursor.fail(token, 920, number, {}, std::move(expected), std::move(suggest));
        } else {
            cursor.fail(token, 920, number, {argument}, std::move(expected), std::move(suggest));
        }
    };
    std::shared_ptr<const ExpressionNode> root = parse_condition(tokens, find, fail);
    if (root == nullptr) return false;
    cursor.to_end();
    where->root = std::move(root);
    return true;
}

bool set_where(DataSet* data, const Where& where) {
    const bool again = std::exchange(data->step_where, where).given();
    apply_filter(data);
    return again;
}

}  // namespace vek
