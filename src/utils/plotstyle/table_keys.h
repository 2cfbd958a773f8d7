// What the reader of a plot style table's block tree shares with the one that
// reads a table straight from its text.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "pia.h"
#include "plotstyletable.h"

namespace ut::plot {

// The top-level keys and blocks the table reads; any other item belongs to
// another writer and is kept.
bool isTableKey(const OdString& name, int kind);

// The keys a style is read from, in the order they are read (and written).
struct StyleKey {
    const wchar_t* name;
    size_t length;
    int kind;
};
inline constexpr size_t kStyleKeys = 16;
inline constexpr size_t kModeColorKey = 4; // the one key a style may lack
inline constexpr StyleKey kStyleKey[kStyleKeys] = {
    {L"name", 4, kPStr},
    {L"localized_name", 14, kPStr},
    {L"description", 11, kPStr},
    {L"color", 5, kPNum},
    {L"mode_color", 10, kPNum},
    {L"color_policy", 12, kPNum},
    {L"physical_pen_number", 19, kPNum},
    {L"virtual_pen_number", 18, kPNum},
    {L"screen", 6, kPNum},
    {L"linepattern_size", 16, kPNum},
    {L"linetype", 8, kPNum},
    {L"adaptive_linetype", 17, kPBool},
    {L"lineweight", 10, kPNum},
    {L"fill_style", 10, kPNum},
    {L"end_style", 9, kPNum},
    {L"join_style", 10, kPNum},
};

} // namespace ut::plot

struct CPlotStyleTable::TextParts {
    std::vector<std::unique_ptr<CPlotStyle>> styles; // of the blocks named 0..n-1, in order
    std::vector<std::string_view> aci;               // the values of aci_table's entries 0..n-1
    CPForeignItems foreign;
};
