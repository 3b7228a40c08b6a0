#pragma once

#include "support/replaced_function.h"

#include <string>
#include <utility>
#include <vector>

namespace testing_support::policies {

using Steps = std::vector<std::string>;

inline Steps operator+(Steps left, const Steps& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Notes what is done with the critical sections that lie inside one object.
class SectionsOf {
public:
    SectionsOf(const void* object, std::size_t size) : first_(static_cast<const char*>(object)), size_(size) {}

    Steps steps;

private:
    void Note(const void* section, std::string step)
    {
        const auto* const at = static_cast<const char*>(section);
        if (at >= first_ && at < first_ + size_) {
            steps.push_back(std::move(step));
        }
    }

    const char* first_;
    std::size_t size_;

    Replaced<"InitializeCriticalSectionAndSpinCount", decltype(::InitializeCriticalSectionAndSpinCount)> initialize_{
        [this](LPCRITICAL_SECTION section, DWORD spinCount) {
            Note(section, "initialise with spin count " + std::to_string(spinCount));
            return initialize_.Original(section, spinCount);
        }};
    Replaced<"EnterCriticalSection", decltype(::EnterCriticalSection)> enter_{[this](LPCRITICAL_SECTION section) {
        Note(section, "enter");
        enter_.Original(section);
    }};
    Replaced<"LeaveCriticalSection", decltype(::LeaveCriticalSection)> leave_{[this](LPCRITICAL_SECTION section) {
        Note(section, "leave");
        leave_.Original(section);
    }};
    Replaced<"DeleteCriticalSection", decltype(::DeleteCriticalSection)> delete_{[this](LPCRITICAL_SECTION section) {
        Note(section, "delete");
        delete_.Original(section);
    }};
};

} // namespace testing_support::policies
