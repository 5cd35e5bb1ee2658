#pragma once

#include <fstream>
#include <initializer_list>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

/** Lines of a log, a journal or an output. A list of them may be made of lines and of lists. */
struct Lines : std::vector<std::string> {
    struct Part {
        Part(const char* line) : lines{line} {}
        Part(const std::string& line) : lines{line} {}
        Part(const std::vector<std::string>& list) : lines(list) {}
        std::vector<std::string> lines;
    };
    Lines() = default;
    Lines(std::initializer_list<Part> parts) {
        for (const Part& part : parts) insert(end(), part.lines.begin(), part.lines.end());
    }
    Lines(size_t count, const std::string& line) : vector(count, line) {}
    template <typename Iterator>
    Lines(Iterator begin, Iterator end) : vector(begin, end) {}

    /** Those in which an expression is found. */
    Lines only(const std::string& expression) const {
        Lines found;
        const std::regex regex(expression);
        for (const std::string& line : *this) {
            if (std::regex_search(line, regex)) found.push_back(line);
        }
        return found;
    }
    /** All, with the matches of an expression replaced. */
    Lines replaced(const std::string& expression, const std::string& by) const {
        Lines all;
        const std::regex regex(expression);
        for (const std::string& line : *this) all.push_back(std::regex_replace(line, regex, by));
        return all;
    }
};

inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** All matches of an expression's group. */
inline Lines find(const std::string& text, const std::string& expression) {
    const std::regex regex(expression);
    return {std::sregex_token_iterator(text.begin(), text.end(), regex, 1),
            std::sregex_token_iterator()};
}

inline size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) count++;
    return count;
}
