#pragma once

#include "language_texts.h"

namespace e2e {

inline constexpr LanguageTexts kChinese{
    .name = "Chinese",
    .language = 4,
    .page = 936,
};

} // namespace e2e
