// What --help looks like: lines of at most 80 columns.
#pragma once

#include <CLI/CLI.hpp>
#include <sstream>
#include <string>
#include <utility>

namespace cli {

class HelpFormatter : public CLI::Formatter {
  public:
    HelpFormatter() {
        column_width(nameColumns);
        label("Positionals", "Arguments");
        label("REQUIRED", "(required)");
    }

    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        const std::string text = Formatter::make_help(app, std::move(name), mode);
        return CLI::detail::find_and_replace(text, "\n\n\n", "\n\n");
    }
    // That of the program is laid out already.
    std::string make_description(const CLI::App* app) const override {
        if (app->get_parent() == nullptr) return app->get_description() + "\n";
        return wrapped(app->get_description(), allColumns) + "\n";
    }
    std::string make_subcommand(const CLI::App* command) const override {
        std::ostringstream text;
        CLI::detail::format_help(text, command->get_name(),
                                 wrapped(command->get_description(), textColumns), nameColumns);
        return text.str();
    }
    std::string make_footer(const CLI::App* app) const override {
        return app->get_footer().empty() ? "" : wrapped(app->get_footer(), allColumns) + "\n";
    }
    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(option->get_description(), textColumns);
    }
    // What excludes what, the texts and the messages tell.
    std::string make_option_opts(const CLI::Option* option) const override {
        if (option->get_type_size() == 0) return {};
        std::string text = " " + option->get_type_name();
        if (!option->get_default_str().empty()) text += "=" + option->get_default_str();
        if (option->get_expected_max() == CLI::detail::expected_max_vector_size) text += " ...";
        return option->get_required() ? text + " " + get_label("REQUIRED") : text;
    }

  private:
    static constexpr std::size_t allColumns = 80, nameColumns = 29;
    static constexpr std::size_t textColumns = allColumns - nameColumns;

    // Spaces and newlines of the text only part words.
    static std::string wrapped(const std::string& text, std::size_t columns) {
        std::string lines, word;
        std::size_t used = 0;
        for (std::istringstream words(text); words >> word;) {
            const bool fits = used == 0 || used + 1 + word.size() <= columns;
            if (used > 0) lines += fits ? " " : "\n";
            used = (fits && used > 0 ? used + 1 : 0) + word.size();
            lines += word;
        }
        return lines;
    }
};

}  // namespace cli
