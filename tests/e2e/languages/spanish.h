#pragma once

#include "language_texts.h"

namespace e2e {

inline constexpr LanguageTexts kSpanish{
    .name = "Spanish",
    .language = 1034,
    .page = 850,
};

} // namespace e2e
