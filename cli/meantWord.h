// What users may have meant by a word that is none here.
#pragma once

#include <string>
#include <vector>

namespace cli {

// What follows "... is not expected": "; did you mean ...?" with that one of `words`, options with
// their dashes or names of commands, which means what `argument` means elsewhere, or whose letters
// are near. Empty when there is none.
std::string meantWord(const std::string& argument, const std::vector<std::string>& words);

}  // namespace cli
