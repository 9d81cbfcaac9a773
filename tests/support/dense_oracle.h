// The design as a dense matrix in long double, made from the texts of the data without any code of the module: rows
// that count, levels by plain sorting, columns by comparing level texts, and X'WX by three loops.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "support/model_step.h"

namespace vek::test {

using LongMatrix = std::vector<std::vector<long double>>;

class DenseDesign {
  public:
    LongMatrix rows;                         ///< [row][column]: X, then the dependent variables
    std::vector<std::vector<bool>> present;  ///< likewise: the row has the column's levels
    std::vector<long double> weights;        ///< frequency * weight
    std::vector<std::size_t> source;         ///< row of the table
    std::vector<std::string> labels;         ///< of the columns of X: the effect and its levels

    /// `dependents` are those of the pass. Levels are in order of value for numbers, of characters for texts.
    DenseDesign(const TextTable& table, const ModelText& model, const std::vector<std::string>& dependents)
        : table_(table), model_(model) {
        for (std::size_t r = 0; r < table.rows.size(); ++r) {
            const long double w = weight(r);
            if (w <= 0 || incomplete(r) || table.at(r, table.column(dependents[0])) == ".") continue;
            source.push_back(r);
            weights.push_back(w);
        }
        rows.resize(source.size());
        present.resize(source.size());
        if (!model.noint && model.absorb.empty()) add_column("Intercept", [](std::size_t) { return 1.0L; });
        for (const std::string& effect : model.effects) add_effect(effect);
        x_columns = labels.size();
        for (const std::string& y : dependents) add_column(y, [&](std::size_t r) { return value(r, y); });
    }

    std::size_t x_columns = 0;

    /// Takes the means of the groups of equal values of these variables out of all columns.
    void absorb(const std::vector<std::string>& variables) {
        std::map<std::string, std::vector<std::size_t>> groups;
        for (std::size_t i = 0; i < source.size(); ++i) {
            std::string key;
            for (const std::string& name : variables) key += text(source[i], name) + '\n';
            groups[key].push_back(i);
        }
        group_count = groups.size();
        for (const auto& [key, members] : groups) {
            for (std::size_t c = 0; c < rows[0].size(); ++c) {
                long double sum = 0, total = 0;
                for (const std::size_t i : members) {
                    sum += weights[i] * rows[i][c];
                    total += weights[i];
                }
                for (const std::size_t i : members) rows[i][c] -= sum / total;
            }
        }
    }
    std::size_t group_count = 0;

    long double product(std::size_t a, std::size_t b) const {
        long double sum = 0;
        for (std::size_t i = 0; i < rows.size(); ++i) sum += weights[i] * rows[i][a] * rows[i][b];
        return sum;
    }
    long double column_sum(std::size_t c) const {
        long double sum = 0;
        for (std::size_t i = 0; i < rows.size(); ++i) sum += weights[i] * rows[i][c];
        return sum;
    }

  private:
    const TextTable& table_;
    const ModelText& model_;

    const std::string& text(std::size_t row, const std::string& name) const {
        return table_.at(row, table_.column(name));
    }
    long double value(std::size_t row, const std::string& name) const {
        return table_.number(row, table_.column(name));
    }
    bool is_class(const std::string& name) const {
        return std::find(model_.classes.begin(), model_.classes.end(), name) != model_.classes.end();
    }
    /// 0 for a row whose frequency or weight does not count.
    long double weight(std::size_t row) const {
        long double w = 1;
        if (!model_.freq.empty()) {
            if (text(row, model_.freq) == "." || value(row, model_.freq) < 1) return 0;
            w = static_cast<long double>(static_cast<long long>(value(row, model_.freq)));
        }
        if (!model_.weight.empty()) {
            if (text(row, model_.weight) == "." || value(row, model_.weight) <= 0) return 0;
            w *= value(row, model_.weight);
        }
        return w;
    }
    bool incomplete(std::size_t row) const {
        const auto missing_in = [&](const std::vector<std::string>& names) {
            return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
                const std::string& field = text(row, name);
                return field == "." || field.find_first_not_of(' ') == std::string::npos;
            });
        };
        if (missing_in(model_.classes) || missing_in(model_.absorb)) return true;
        for (const std::string& effect : model_.effects) {
            if (missing_in(EffectParts(effect).factors)) return true;
        }
        return false;
    }

    template <class Value>
    void add_column(const std::string& label, const Value& of_row) {
        add_column(label, of_row, [](std::size_t) { return true; });
    }
    template <class Value, class Present>
    void add_column(const std::string& label, const Value& of_row, const Present& has_levels) {
        labels.push_back(label);
        for (std::size_t i = 0; i < source.size(); ++i) {
            present[i].push_back(has_levels(source[i]));
            rows[i].push_back(present[i].back() ? of_row(source[i]) : 0.0L);
        }
    }

    bool level_before(const std::string& name, const std::string& a, const std::string& b) const {
        if (!table_.numeric(table_.column(name))) return a < b;
        return TextTable::to_number(a) < TextTable::to_number(b);
    }

    void add_effect(const std::string& effect) {
        const EffectParts parts(effect);
        std::vector<std::string> order, continuous;  // class variables, the slowest first
        order = parts.nest;
        for (const std::string& factor : parts.factors) (is_class(factor) ? order : continuous).push_back(factor);
        using Levels = std::vector<std::string>;
        const auto levels_of = [&](std::size_t row) {
            Levels levels;
            for (const std::string& name : order) levels.push_back(text(row, name));
            return levels;
        };
        std::vector<Levels> columns;
        for (const std::size_t row : source) columns.push_back(levels_of(row));
        const auto before = [&](const Levels& a, const Levels& b) {
            for (std::size_t v = 0; v < order.size(); ++v) {
                if (level_before(order[v], a[v], b[v])) return true;
                if (level_before(order[v], b[v], a[v])) return false;
            }
            return false;
        };
        std::sort(columns.begin(), columns.end(), before);
        columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
        for (const Levels& levels : columns) {
            std::string label = effect;
            for (const std::string& level : levels) label += ' ' + level;
            const auto product = [&](std::size_t row) {
                long double value_of_row = 1;
                for (const std::string& name : continuous) value_of_row *= value(row, name);
                return value_of_row;
            };
            add_column(label, product, [&](std::size_t row) { return levels_of(row) == levels; });
        }
    }
};

}  // namespace vek::test
