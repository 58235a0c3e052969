#include "pictures/suggestion.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>

namespace pictures {

std::string nearestWord(const std::string& word, const std::vector<std::string>& words) {
    const auto distance = [&](const std::string& other) {
        return OIIO::Strutil::edit_distance(word, other);
    };
    const auto nearest = std::min_element(
        words.begin(), words.end(),
        [&](const std::string& a, const std::string& b) { return distance(a) < distance(b); });
    const bool isNear = nearest != words.end() && distance(*nearest) <= (nearest->size() + 1) / 3;
    return isNear ? *nearest : "";
}

std::string suggestion(const std::string& word, const std::vector<std::string>& words) {
    const std::string nearest = nearestWord(word, words);
    return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

}  // namespace pictures
