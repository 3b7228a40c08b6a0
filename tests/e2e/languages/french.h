#pragma once

#include "language_texts.h"

namespace e2e {

inline constexpr LanguageTexts kFrench{
    .name = "French",
    .language = 1036,
    .page = 850,
};

} // namespace e2e
