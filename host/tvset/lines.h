#pragma once

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace tvset {

/**
 * Reads a file of the set that someone has written by hand, a line at a time. Blank lines are
 * skipped, and so is, with a message on standard error, what is not of the form.
 *
 * @param form   as the message shows it
 * @param parse  std::optional<Line>(const std::string&), none for what is not of the form
 */
template <typename Parse>
auto readLines(const std::string& path, const char* form, const Parse& parse) {
    std::vector<typename decltype(parse(std::string()))::value_type> lines;
    std::ifstream file(path);
    std::string text;
    for (int number = 1; std::getline(file, text); ++number) {
        if (text.find_first_not_of(" \t\r") == text.npos) continue;
        if (auto line = parse(text)) {
            lines.push_back(std::move(*line));
        } else {
            fprintf(stderr, "tvset: %s:%d: not '%s', skipped: %s\n", path.c_str(), number, form,
                    text.c_str());
        }
    }
    return lines;
}

}  // namespace tvset
