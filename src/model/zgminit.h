// zgminit: turns the chain of effects that the statement engine has made into the model's tables: numbered effects with
// their model records, level sets and level tables, the layout of the observation record, the pseudo-effects of the
// dependent variables, and what the reports need of class and ABSORB variables.
#pragma once

#include "frame/statement.h"
#include "model/zgm.h"

namespace vek {

/// Makes the statement engine's block for effects, stores it in `proc` and returns it. `namelen` is the longest name
/// of an effect.
EffectBlock* zefprsi(Proc& proc, int namelen, int mode);

/// Sets the model up: init_effects, then lev_init. `withint` 1 keeps entry 0 of the effects for the intercept;
/// `namelen` limits the names of ABSORB variables.
void zgminit(ModelBlock& zgm, int withint, int namelen);

/// Numbers the effects of the chain and makes their model records, level sets and level tables.
void init_effects(ModelBlock& zgm, int withint);

/// Lays the observation record out, makes the fetch list, and describes class, ABSORB and dependent variables.
void lev_init(ModelBlock& zgm, int namelen);

/// Takes the effect without variables out of the chain and returns it, or null when there is none. One at the head
/// stays in the chain: it stands in front of the model's effects.
Effect* remove_int(ModelBlock& zgm);

Effect* int_ef_add();      ///< a new intercept effect with its model record
EffectMod* int_mod_add();  ///< a model record without variables

}  // namespace vek
