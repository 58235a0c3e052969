// Help with words that users mistype.
#pragma once

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

// The number of characters to insert, remove or change between two words.
inline std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

// "; did you mean ...?" with the nearest of the words, or nothing where none is near.
inline std::string suggestion(const std::string& word, const std::vector<std::string>& words) {
    const auto nearest = std::min_element(words.begin(), words.end(),
                                          [&](const std::string& a, const std::string& b) {
                                              return editDistance(word, a) < editDistance(word, b);
                                          });
    if (nearest == words.end() || editDistance(word, *nearest) > nearest->size() / 2) return {};
    return "; did you mean " + *nearest + "?";
}
