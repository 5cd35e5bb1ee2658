#pragma once

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/tvset/files.h"
#include "host/tvset/seam/log_sink.h"

namespace tvset {

/**
 * Reads a file of the set that users edit, line by line. Blank lines are skipped, and so is, with a
 * message on standard error, a malformed line.
 *
 * @param form   the form of a line, for the message
 * @param parse  std::optional<Line>(const std::string&), none for a malformed line
 */
template <typename Parse>
auto readLines(const std::string& path, const char* form, const Parse& parse) {
    std::vector<typename decltype(parse(std::string()))::value_type> lines;
    std::istringstream file(readFile(path).value_or(""));
    std::string text;
    for (int number = 1; std::getline(file, text); ++number) {
        if (text.find_first_not_of(" \t\r") == text.npos) continue;
        if (auto line = parse(text)) {
            lines.push_back(std::move(*line));
        } else {
            writeToStderr("tvset: " + path + ":" + std::to_string(number) + ": not '" + form +
                          "', skipped: " + text);
        }
    }
    return lines;
}

}  // namespace tvset
