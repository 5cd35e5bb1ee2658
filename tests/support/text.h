#pragma once

#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** All matches of an expression's group. */
inline std::vector<std::string> find(const std::string& text, const std::string& expression) {
    const std::regex regex(expression);
    return {std::sregex_token_iterator(text.begin(), text.end(), regex, 1), {}};
}

inline size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) count++;
    return count;
}
