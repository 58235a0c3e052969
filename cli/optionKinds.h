// Kinds of options that several files add.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cli {

// An option whose text `parse` turns into a value; otherwise it "is no `expected`".
template <class Value, class Parse>
CLI::Option* addParsed(CLI::App& command, const std::string& name, std::optional<Value>& target,
                       Parse parse, const std::string& expected, const std::string& typeName,
                       const std::string& help) {
    const auto store = [=, &target](const std::string& text) {
        target = parse(text);
        if (!target) throw CLI::ValidationError(name, text + " is no " + expected);
    };
    return command.add_option_function<std::string>(name, store, help)->type_name(typeName);
}

template <class Value>
using Choices = std::vector<std::pair<std::string, Value>>;

// An option with a word for each value; the first one is the default of `target`.
template <class Value>
void addChoice(CLI::App& command, const std::string& name, const Choices<Value>& choices,
               Value& target, const std::string& help) {
    std::vector<std::string> words;
    for (const auto& choice : choices) words.push_back(choice.first);
    const auto store = [=, &target](const std::string& word) {
        const auto at = std::find(words.begin(), words.end(), word) - words.begin();
        target = choices[static_cast<std::size_t>(at)].second;
    };
    command.add_option_function<std::string>(name, store, help)
        ->check(CLI::IsMember(words).description(""))
        ->type_name(CLI::detail::join(words, "|"))
        ->default_str(words.front());
}

}  // namespace cli
