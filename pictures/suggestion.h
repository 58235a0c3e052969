// Help with mistyped words.
#pragma once

#include <string>
#include <vector>

namespace pictures {

// The nearest of `words`, at most about a third of whose letters are wrong; empty when none is
// near.
std::string nearestWord(const std::string& word, const std::vector<std::string>& words);

// "; did you mean ...?" with the nearest of `words`; empty when none is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& words);

}  // namespace pictures
