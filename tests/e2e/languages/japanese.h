#pragma once

#include "language_texts.h"

namespace e2e {

inline constexpr LanguageTexts kJapanese{
    .name = "Japanese",
    .language = 1041,
    .page = 932,
};

} // namespace e2e
