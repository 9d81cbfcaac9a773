// Messages of small groups: labels shared by procedures (0, 193, 257, 278), the undoing of statements (211), the
// observation statistics (212) and the binding of host routines (129).
#pragma once

#include "host/message/catalogue.h"

namespace vek {

inline constexpr CatalogueRow group_000[] = {
    {184, Level::note, "Sum of residuals"},
    {185, Level::note, "Sum of squared residuals"},
    {186, Level::note, "Sum of squared residuals - error SS"},
    {187, Level::note, "PRESS statistic"},
    {188, Level::note, "First-order autocorrelation"},
    {189, Level::note, "Durbin-Watson D"},
    {207, Level::note, "Greenhouse-Geisser epsilon"},
    {208, Level::note, "Huynh-Feldt epsilon"},
};
static_assert(sound(group_000));

inline constexpr CatalogueRow group_129[] = {
    {54, Level::error, "a routine of the host is absent"},
};
static_assert(sound(group_129));

inline constexpr CatalogueRow group_193[] = {
    {3, Level::note, "The F of Roy's greatest root is an upper bound."},
    {4, Level::note, "The F of Wilks' lambda is exact."},
    {5, Level::note, "Wilks' lambda"},
    {6, Level::note, "Pillai's trace"},
    {7, Level::note, "Hotelling-Lawley trace"},
    {8, Level::note, "Roy's greatest root"},
    {16, Level::warning, "the error has too few degrees of freedom for a multivariate test"},
};
static_assert(sound(group_193));

inline constexpr CatalogueRow group_211[] = {
    {1, Level::error, "there is no statement that could be taken back"},
    {2, Level::note, "the statement was taken back; the step goes on as if it had not been written"},
};
static_assert(sound(group_211));

inline constexpr CatalogueRow group_212[] = {
    {600, Level::error, "L95, U95, L95M and U95M stand for 95% limits, but ALPHA={real} was given",
     "Use LCL, UCL, LCLM and UCLM."},
};
static_assert(sound(group_212));

inline constexpr CatalogueRow group_257[] = {
    {9, Level::note,
     "Observations with missing dependent variables take no part; {integer} observation{s} can be used."},
    {10, Level::note, "Because of missing values, {integer} observation{s} can be used in this analysis."},
    {13, Level::note, "Dependent variables of a group have the same missing values."},
};
static_assert(sound(group_257));

inline constexpr CatalogueRow group_278[] = {
    {19, Level::note, "The F is exact."},
};
static_assert(sound(group_278));

}  // namespace vek
