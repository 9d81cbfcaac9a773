// level_tables: the tables of the level pass. ClassLevels names the levels of each class variable, NObs counts the
// observations, and DependentInfo shows how missing values divide the dependent variables into groups.
#include <algorithm>
#include <string>

#include "frame/host_message.h"
#include "frame/table.h"
#include "frame/text.h"
#include "model/levelpass.h"

namespace vek {

namespace {

/// The level texts of a class variable in their order, each followed by one blank.
std::string joined_levels(const LevelList& list) {
    std::string joined;
    for (int k = 0; k < list.count; ++k) {
        joined += wzstrip({list.text[list.order[k]], 16});
        joined += ' ';
    }
    return joined;
}

void class_levels_table(const ModelBlock& zgm, HostObject* out) {
    constexpr int narrowest_name = 8, widest_values = 255;
    if (zgm.nclass == 0) return;
    int name_width = narrowest_name;
    int values_width = 0;
    for (int i = 0; i < zgm.nclass; ++i) {
        name_width = std::max(name_width, zgm.classes[i].namelen);
        values_width = std::max(values_width, static_cast<int>(joined_levels(zgm.levlists[i]).size()));
    }
    std::string_view name;
    int levels = 0;
    std::string values;
    Table t(out, "ClassLevels", rdvmsg(172, 381));
    t.text("Class", name_width, name).integer("Levels", levels).text("Values", values_width, values);
    t.attribute("vwidth", std::min(values_width, widest_values));
    t.bind("DRIM.VEK.ClassLevels");
    for (int i = 0; i < zgm.nclass; ++i) {
        name = {zgm.classes[i].name, static_cast<std::size_t>(zgm.classes[i].namelen)};
        levels = zgm.nlev[i];
        values = joined_levels(zgm.levlists[i]);
        t.row();
    }
    t.end();
}

void observations_table(const ModelBlock& zgm, const LevelPass& pass, HostObject* out) {
    Factoids t(out, "NObs", rdvmsg(172, 382), "Drim.VEK.NObs");
    t.item(rdvmsg(172, xbyuse(zgm.data) ? 116 : 20), pass.total);
    t.end();
}

/// Names of the dependent variables of a group, each followed by one blank.
std::string joined_dependents(const ModelBlock& zgm, int group) {
    std::string joined;
    for (int i = 0; i < zgm.ny; ++i) {
        if (zgm.ypass[i] != group) continue;
        joined += zgm.ydescriptors[i].name;
        joined += ' ';
    }
    return joined;
}

std::int64_t group_observations(const ModelBlock& zgm, int group) {
    const auto* first = std::find(zgm.ypass, zgm.ypass + zgm.ny, group);
    return first == zgm.ypass + zgm.ny ? 0 : zgm.ynobs[first - zgm.ypass];
}

void dependents_table(const ModelBlock& zgm, HostObject* out, int first_group) {
    int width = 0;
    for (int group = first_group; group <= zgm.npass; ++group)
        width = std::max(width, static_cast<int>(joined_dependents(zgm, group).size()));
    int group = 0, observations = 0;
    std::string names;
    Table t(out, "DependentInfo", rdvmsg(172, 383));
    t.integer("Group", group).integer("Obs", observations).text("DependentVariables", width, names);
    t.bind("DRIM.VEK.DependentInfo");
    for (group = first_group; group <= zgm.npass; ++group) {
        observations = static_cast<int>(group_observations(zgm, group));
        names = joined_dependents(zgm, group);
        t.row();
    }
    t.end();
    report_note(out, rdvmsg(257, 13), 'l', 2);
}

/// What is to be told of observations that only some dependent variables have, or none.
void tell_of_missing_dependents(const ModelBlock& zgm, const LevelPass& pass, HostObject* out) {
    const bool all = std::all_of(zgm.ypass, zgm.ypass + zgm.ny, [](std::int16_t group) { return group > 0; });
    if (zgm.npass != 1 || !all) {
        dependents_table(zgm, out, all ? 1 : 0);
        return;
    }
    if (zgm.ynobs[0] >= pass.total) return;
    if (zgm.multivar) {
        report_note(out, rdvmsg(257, 9, zgm.ynobs[0]), 'l', 1);
    } else if (zgm.ny == 1) {
        report_note(out, rdvmsg(172, 21, zgm.ynobs[0]), 'l', 1);
    } else {
        report_note(out, rdvmsg(257, 10, zgm.ynobs[0]), 'l', 1);
    }
}

}  // namespace

void level_tables(const ModelBlock& zgm, const LevelPass& pass, HostObject* out) {
    if (out == nullptr) return;
    class_levels_table(zgm, out);
    observations_table(zgm, pass, out);
    tell_of_missing_dependents(zgm, pass, out);
}

}  // namespace vek
