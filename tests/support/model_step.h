// A model over a small data set in memory, set up as the procedure does it: the statements' lists are filled by hand,
// everything else is the module and the real host.
#pragma once

#include <doctest/doctest.h>

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "frame/host_data.h"
#include "host/data/dataset.h"
#include "host/data/reference.h"
#include "host/message/log.h"
#include "host/session/session.h"
#include "host/storage/pool.h"
#include "model/zgmbld.h"
#include "model/zgmbldi.h"
#include "model/zgminit.h"
#include "model/zgmpsl.h"
#include "model/zlvknt.h"
#include "numeric/missing.h"

namespace vek::test {

/// Rows of texts under names. A column is numeric when every value reads as a number or is ".".
struct TextTable {
    std::vector<std::string> names;
    std::vector<std::vector<std::string>> rows;

    TextTable() = default;
    /// From lines with blanks between the fields, the first with the names. "_" in a value stands for a blank.
    explicit TextTable(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream fields(line);
            std::vector<std::string> row;
            for (std::string field; fields >> field;) row.push_back(field);
            if (row.empty()) continue;
            if (names.empty()) {
                names = row;
                continue;
            }
            for (std::string& field : row) std::replace(field.begin(), field.end(), '_', ' ');
            rows.push_back(row);
        }
    }

    int column(const std::string& name) const {
        for (std::size_t c = 0; c < names.size(); ++c) {
            if (names[c] == name) return static_cast<int>(c);
        }
        return -1;
    }
    const std::string& at(std::size_t row, int column) const { return rows[row][static_cast<std::size_t>(column)]; }
    double number(std::size_t row, int column) const { return to_number(at(row, column)); }
    bool numeric(int column) const {
        for (std::size_t r = 0; r < rows.size(); ++r) {
            if (at(r, column) != "." && wzmis(to_number(at(r, column)))) return false;
        }
        return true;
    }

    static double to_number(const std::string& text) {
        double value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        return error == std::errc{} && end == text.data() + text.size() ? value : missing;
    }
};

/// What the statements say of a model. Effects as they are written: "A*B", "X*A(B C)".
struct ModelText {
    std::vector<std::string> classes{}, dependents{}, effects{}, absorb{};
    std::string freq{}, weight{};
    const char* order = "FOR";
    bool noint = false, multipass = false, multivar = false;
    bool fitonly = false, shift = false;  ///< sums may be made while reading; about the first row
    std::vector<std::string> by{};
};

/// The variables of an effect by their names.
struct EffectParts {
    std::vector<std::string> factors, nest;

    explicit EffectParts(std::string text) {
        const std::size_t open = text.find('(');
        if (open != std::string::npos) {
            std::istringstream inside(text.substr(open + 1, text.size() - open - 2));
            for (std::string name; inside >> name;) nest.push_back(name);
            text.resize(open);
        }
        std::istringstream crossed(text);
        for (std::string name; std::getline(crossed, name, '*');) factors.push_back(name);
    }
};

/// A step with the data set and the model. Each test makes one; nothing of it stays behind.
class ModelStep {
  public:
    ModelBlock zgm;

    using Formats = std::vector<std::pair<std::string, Format>>;  ///< of variables by name

    ModelStep(const TextTable& table, const ModelText& model, const Formats& formats = {}) {
        session().reset_for_test();
        reset_data();
        begin_step_pools();
        begin_step_data();
        zgm.data = open_table(table);
        for (const auto& [name, format] : formats) set_format(zgm.data, variable(name), format);
        set_up(model);
    }
    ModelStep(const ModelStep&) = delete;
    ModelStep& operator=(const ModelStep&) = delete;
    ~ModelStep() {
        end_step_data();
        reset_data();
        session().reset_for_test();
    }

    /// Reads the next BY group: the result of zlvknt.
    int read(HostObject* out = nullptr) {
        REQUIRE(xbynext(zgm.data));
        return zlvknt(zgm, out);
    }
    /// Reads the next BY group, begins the first pass and lays X out.
    ModelStep& lay_out() {
        REQUIRE(read() == zlvknt_done);
        zgmpsli(zgm);
        zgmbldi(zgm);
        return *this;
    }
    void next_pass() {
        zgmpsln(zgm);
        if (zgmpslc(zgm)) zgmbldi(zgm);
    }

    int variable(const std::string& name) const { return xvfind(zgm.data, name); }

    /// Levels of a class variable in their final order, with blanks between them.
    std::string levels(int class_variable) const {
        std::string text;
        const LevelList& list = zgm.levlists[class_variable];
        for (int k = 0; k < list.count; ++k) {
            const std::string level(list.text[list.order[k]], 16);
            if (k > 0) text += ' ';
            text += level.substr(0, level.find_last_not_of(' ') + 1);
        }
        return text;
    }
    /// The columns of an effect as the texts of their levels: "1:u 1:v 2:u".
    std::string columns(int effect) const {
        std::string text;
        const Effect& e = *zgm.effects[effect];
        for (int c = 0; c < e.mod->ncols; ++c) {
            if (c > 0) text += ' ';
            for (int v = 0; v < e.nclass(); ++v) {
                const std::string level(zgm.levvals[e.cross[v]][e.mod->levels[c * e.nclass() + v]], 16);
                if (v > 0) text += ':';
                text += level.substr(0, level.find_last_not_of(' ') + 1);
            }
        }
        return text;
    }
    std::string layout() const {
        char* text = nullptr;
        std::size_t size = 0;
        std::FILE* out = open_memstream(&text, &size);
        describe(out, zgm);
        std::fclose(out);
        std::string result(text, size);
        std::free(text);
        return result;
    }

    static int logged(int group, int number) {
        int count = 0;
        for (const LogEntry& entry : host_log().entries()) count += entry.group == group && entry.number == number;
        return count;
    }

  private:
    static DataSet* open_table(const TextTable& table) {
        DataReference reference;
        reference.name = "TEST";
        DataSet* made = open_output(reference);
        REQUIRE(made != nullptr);
        const std::size_t n = table.names.size();
        std::vector<double> numbers(n);
        std::vector<std::string> texts(n);
        PutList* list = xvputi(made);
        for (std::size_t c = 0; c < n; ++c) {
            const int column = static_cast<int>(c);
            std::size_t length = 1;
            for (std::size_t r = 0; r < table.rows.size(); ++r) length = std::max(length, table.at(r, column).size());
            texts[c].resize(length, ' ');
            if (table.numeric(column)) {
                xvputd(list, table.names[c], VariableType::numeric, 8, &numbers[c]);
            } else {
                xvputd(list, table.names[c], VariableType::character, static_cast<int>(length), texts[c].data());
            }
        }
        xvpute(list);
        for (std::size_t r = 0; r < table.rows.size(); ++r) {
            for (std::size_t c = 0; c < n; ++c) {
                numbers[c] = table.number(r, static_cast<int>(c));
                std::string padded = table.at(r, static_cast<int>(c));
                padded.resize(texts[c].size(), ' ');
                std::copy(padded.begin(), padded.end(), texts[c].begin());
            }
            xyvput(list, 0);
        }
        xvputt(list);
        xoclose(made);
        REQUIRE(end_run_group_data(true));
        DataSet* data = open_input(reference);
        REQUIRE(data != nullptr);
        return data;
    }

    int* variables(const std::vector<std::string>& names, int* count) {
        int* list = array<int>(xmainpool(), static_cast<std::int64_t>(names.size()));
        *count = static_cast<int>(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            list[i] = variable(names[i]);
            REQUIRE(list[i] >= 0);
        }
        return list;
    }

    void set_up(const ModelText& model) {
        std::vector<ByVariable> by;
        for (const std::string& name : model.by) by.push_back({variable(name), false});
        if (!by.empty()) set_by(zgm.data, by, false, {});
        zgm.classvars = variables(model.classes, &zgm.nclass);
        zgm.yvars = variables(model.dependents, &zgm.ny);
        zgm.absvars = variables(model.absorb, &zgm.nabsorb);
        if (!model.freq.empty()) zgm.freqvars = variables({model.freq}, &zgm.nfreq);
        if (!model.weight.empty()) zgm.wgtvars = variables({model.weight}, &zgm.nwgt);
        zgm.order = model.order;
        zgm.noint1 = model.noint;
        zgm.multipass = model.multipass;
        zgm.multivar = model.multivar;
        zgm.fitonly = model.fitonly;
        zgm.originshift = model.shift;

        std::vector<std::string> regressors;
        Effect** link = &zgm.efhead;
        for (const std::string& text : model.effects) {
            *link = make_effect(text, model.classes, regressors);
            link = &(*link)->next;
            ++zgm.neff;
        }
        zgm.xvars = variables(regressors, &zgm.nreg);
        zgminit(zgm, 1, 20);
    }

    static int index_in(const std::vector<std::string>& list, const std::string& name) {
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (list[i] == name) return static_cast<int>(i);
        }
        return -1;
    }

    static Effect* make_effect(const std::string& text, const std::vector<std::string>& classes,
                               std::vector<std::string>& regressors) {
        Pool* pool = xmainpool();
        const EffectParts parts(text);
        Effect* e = object<Effect>(pool);
        char* name = array<char>(pool, static_cast<std::int64_t>(text.size()) + 1);
        std::copy(text.begin(), text.end(), name);
        e->name = name;
        const auto most = static_cast<std::int64_t>(parts.factors.size() + parts.nest.size());
        e->cont = array<int>(pool, most);
        e->cross = array<int>(pool, most);
        e->nest = array<int>(pool, most);
        for (const std::string& factor : parts.factors) {
            const int c = index_in(classes, factor);
            if (c >= 0) {
                e->cross[e->ncross++] = c;
                continue;
            }
            if (index_in(regressors, factor) < 0) regressors.push_back(factor);
            e->cont[e->ncont++] = index_in(regressors, factor);
        }
        for (const std::string& factor : parts.nest) e->nest[e->nnest++] = index_in(classes, factor);
        return e;
    }
};

}  // namespace vek::test
