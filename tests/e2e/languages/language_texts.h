#pragma once

#include "win/windows_api.h"

#include <cstdint>

namespace e2e {

// What the tool prints in a language, written by hand: of each command the whole output as a user sees it, from the
// banner on, with "\n" as the line end. {computer} stands for this computer's name, {error} for what Windows and the
// tool, in English, say of a failure, {local} and {remote} for the dates of the statistics. A text that is missing is
// not tested; once a translation is complete, none may be missing.
struct LanguageTexts {
    const char* name;       // of the language and its translation file
    std::uint32_t language; // the registry value that chooses it
    UINT page;              // the usual output code page of a console in that language

    const wchar_t* usage = nullptr;        // VLCmd /?
    const wchar_t* status = nullptr;       // VLCmd /st with one drive for each state, C:\ idle to J:\ done
    const wchar_t* refusal = nullptr;      // VLCmd /an C: where the policy forbids it
    const wchar_t* failure = nullptr;      // VLCmd /an C: where the engine refuses
    const wchar_t* notInstalled = nullptr; // VLCmd /st /c SRV3
    const wchar_t* analysis = nullptr;     // VLCmd /sta C: with figures in GB and MB, 7.5% and 100%
    const wchar_t* online = nullptr;       // VLCmd /sto C: with figures in TB, B and KB
    const wchar_t* offline = nullptr;      // VLCmd /stf C:
    const wchar_t* remote = nullptr;       // VLCmd /sta C: D: /c SRV1, without figures for D:
};

} // namespace e2e
