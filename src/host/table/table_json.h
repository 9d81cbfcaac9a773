// Tables as data: writes a table model as JSON, values before any formatting.
#pragma once

#include "host/table/json_writer.h"
#include "host/table/model.h"

namespace vek {

void write_table_json(JsonWriter& json, const TableModel& table);

}  // namespace vek
