#pragma once

#include "messages/translator.h"
#include "support/registry_sandbox.h"

#include <cstdint>
#include <memory>

namespace testing_support {

// Has every message show its number before its text, "(-1376-)Drive name: C:\", as the registry value "IncludeTransId"
// asks for, as long as the object lives. The process's translator reads that value only when it is made, so it is made
// anew here and once more at the end; translations that were loaded are gone. Needs a registry sandbox that lives
// longer.
class NumberedMessages {
public:
    NumberedMessages() { Restart(1); }
    NumberedMessages(NumberedMessages&&) = delete;
    ~NumberedMessages() { Restart(0); }

private:
    static void Restart(std::uint32_t include)
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, L"Software\\Kestrane\\VLCore\\14.0", L"IncludeTransId", include);
        Translator& translator = GetTranslator();
        std::destroy_at(&translator);
        std::construct_at(&translator);
    }
};

} // namespace testing_support
