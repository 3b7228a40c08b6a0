#pragma once

#include "cmd/command_line.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace testing_support {

// A command line as the program's entry gets it: the program's name, the words, a null behind them.
class Arguments {
public:
    explicit Arguments(const Words& words) : words_{L"VLCmd"}
    {
        words_.insert(words_.end(), words.begin(), words.end());
        for (std::wstring& word : words_) {
            values_.push_back(word.data());
        }
        values_.push_back(nullptr);
    }
    Arguments(Arguments&&) = delete;
    ~Arguments() = default;

    [[nodiscard]] int Count() const { return static_cast<int>(words_.size()); }
    [[nodiscard]] wchar_t** Values() { return values_.data(); }

private:
    Words words_;
    std::vector<wchar_t*> values_;
};

// What the words after the program's name parse to.
inline CommandLine ParsedLine(const Words& words)
{
    CommandLine line;
    RegisterSwitches(line);
    Arguments arguments(words);
    EXPECT_TRUE(Parse(line, arguments.Count(), arguments.Values()));
    return line;
}

// The command line of these words, which are separated by blanks.
inline CommandLine TypedLine(const std::wstring& text)
{
    Words words;
    std::wistringstream stream(text);
    for (std::wstring word; stream >> word;) {
        words.push_back(word);
    }
    return ParsedLine(words);
}

} // namespace testing_support
