// The texts the program can show, gathered from the program itself: the
// dialogs' label lists, the menus, and the ids looked up while the view
// draws every component type in its states, the syntax test renders every
// finding and its summary, the print-outs lay out their heads and the file
// commands ask their questions. `quelvari-cli texts --missing` and the tests
// hold the text tables against it.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace quelvari {

// Id -> the languages (bit 1 << language) whose table must give it a text.
// Dialog titles and labels count for English, French and Italian only
// (German dialogs keep their built-in texts); everything drawn, listed or
// asked counts in all four.
std::map<std::uint32_t, unsigned> UsedTextIds();

// The ids of UsedTextIds that `lang` lacks, ascending. A text that German
// has built in (ControlText) is not lacking; nor is the English caption of
// the section component, whose absence is kept as the program has it.
std::vector<std::uint32_t> MissingTextIds(std::uint32_t lang);

}  // namespace quelvari
