#pragma once

#include "language_texts.h"

namespace e2e {

inline constexpr LanguageTexts kGerman{
    .name = "German",
    .language = 1031,
    .page = 850,
    .refusal = L"Velundra 14.0\n"
               L"Sie haben keine Berechtigung, die Laufwerke zu analysieren.\n",
    .failure = L"Velundra 14.0\n"
               L"Die Analyse ist fehlgeschlagen. Fehler: {error}\n",
    .notInstalled = L"Velundra 14.0\n"
                    L"Velundra ist auf dem Computer 'SRV3' nicht installiert\n",
};

} // namespace e2e
