#pragma once

#include "support/registry_sandbox.h"
#include "support/replaced_function.h"
#include "support/scratch_folder.h"
#include "support/trace_file.h"
#include "trace/VLTrace.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

inline constexpr wchar_t kTraceSettings[] = L"Software\\Kestrane\\VLCore\\14.0";

// Has the process's trace log write entry and leave records, with the names of their functions, into a folder of the
// test's own, as long as the object lives. The process's trace log reads its settings only when it is made, so it is
// made anew here and once more at the end, and without a mutex, for nobody else writes there. Needs a registry sandbox
// that lives longer.
class TracedOperations {
public:
    TracedOperations()
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceFilePath", folder_.Path());
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceFunctionName", 1);
        Restart(1);
    }
    TracedOperations(TracedOperations&&) = delete;
    ~TracedOperations() { Restart(0); }

    // What was recorded, and again from now on: "ado_implement (vldb::CAdoDbReader::Read) *** ENTER ***".
    [[nodiscard]] std::vector<std::wstring> Take()
    {
        const std::filesystem::path file = folder_.PathOf(kTraceFile);
        if (!std::filesystem::exists(file)) {
            return {};
        }
        std::vector<std::wstring> records = SourcesAndTexts(ReadTraceFile(file));
        EXPECT_TRUE(std::filesystem::remove(file));
        return records;
    }

private:
    static void Restart(std::uint32_t entryExit)
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceEntryExit", entryExit);
        std::destroy_at(&TheTrace);
        std::construct_at(&TheTrace);
    }

    ScratchFolder folder_;
    Replaced<"CreateMutexW", decltype(::CreateMutexW)> noMutex_{[](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }};
};

} // namespace testing_support
