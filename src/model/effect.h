// An effect: one term of the model (intercept, regressor, crossing, nesting, or a mix). The statement engine makes the
// records and chains them in the order of the MODEL statement; init_effects numbers them and adds the model record.
#pragma once

#include <cstdint>
#include <string_view>

namespace vek {

/// What the model knows of an effect: its place in the design, once that is built.
struct EffectMod {
    double* value = nullptr;         ///< continuous value of the current observation; null without continuous part
    int levset = -1;                 ///< level set of the class part, or -1
    int table = -1;                  ///< level table of the class part, or -1
    int nvars = 0;                   ///< ncont + ncross + nnest
    std::int16_t* levels = nullptr;  ///< level numbers of the class variables of each column
    std::int16_t* map = nullptr;     ///< level-set number to column within the effect, -1 for a level not in use
    int ncols = 0;                   ///< columns in X
    int firstcol = -1;               ///< first column in X, -1 for an absent intercept
};

constexpr int effect_kind_model = 1;
constexpr int effect_kind_dependent = 3;

struct Effect {
    Effect* next = nullptr;
    int ncont = 0;         ///< continuous variables
    int* cont = nullptr;   ///< their indexes in the continuous-variable list (slot 1 of the PROC record)
    int ncross = 0;        ///< crossed class variables
    int* cross = nullptr;  ///< their indexes in the class list (slot 2 of the PROC record)
    int nnest = 0;         ///< class variables in the nesting parentheses
    int* nest = nullptr;   ///< likewise
    int number = 0;        ///< 0 intercept, 1.. model effects; a dependent variable's own index
    int kind = 0;          ///< effect_kind_model or effect_kind_dependent
    const char* name = nullptr;  ///< zero-terminated, as printed: A*B, A(B)
    int namelen = 0;
    EffectMod* mod = nullptr;

    std::string_view text() const { return {name, static_cast<std::size_t>(namelen)}; }
    int nclass() const { return ncross + nnest; }
};

/// The statement engine's block for effects: the chain of model effects, and a second chain for effects that only a
/// statement after MODEL uses.
struct EffectBlock {
    int namelen = 20;  ///< longest name of an effect (NAMELEN=)
    int mode = 1;
    Effect* efhead = nullptr;
    Effect* eftail = nullptr;
    Effect* otherhead = nullptr;
    Effect* othertail = nullptr;
};

}  // namespace vek
