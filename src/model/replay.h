// All observations of the BY group once more, each record beside its row of the data set.
#pragma once

#include <limits>

#include "frame/host_data.h"
#include "model/zgm.h"
#include "model/zgmbld.h"

namespace vek {

/// Walks the records of the pass in stored order, used ones or not; with a fetch list the current row of the data set
/// stands beside the current record.
///
///     for (Replay replay(zgm, list, columns); replay.valid(); replay.next()) ... replay.row() ...
class Replay {
  public:
    /// `list` may be null; otherwise `columns` has one entry for each of its places. The list must be at the start of
    /// the group: make it, or let it be made, after xbyrwnd.
    Replay(ModelBlock& model, FetchList* fetch, Column* block) : zgm(model), list(fetch), columns(block) {
        zgmloli(zgm, record_missing, false);
        if (list != nullptr && valid()) rows = xybget(list, columns);
    }
    bool valid() const { return zgmlolc(zgm); }
    void next() {
        zgmloln(zgm, record_missing, false);
        if (list != nullptr && ++current >= rows && valid()) {
            rows = xybget(list, columns);
            current = 0;
        }
    }
    int row() const { return current; }  ///< of the current block of the list
    /// Rows of that block from this one on; next() may go that often, less one, before the block changes.
    int left() const { return list != nullptr ? rows - current : std::numeric_limits<int>::max(); }

  private:
    ModelBlock& zgm;
    FetchList* list;
    Column* columns;
    int rows = 0;
    int current = 0;
};

}  // namespace vek
