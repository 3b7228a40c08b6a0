#pragma once

#include "support/file_versions.h"

#include "support/described_files.h"
#include "support/plain_dates.h"
#include "support/product_test.h"

#include <string>
#include <vector>

namespace testing_support::program_files {

inline constexpr wchar_t kPath[] = L"C:\\Folder\\File.exe";

class ProgramFileFacts : public ProductTest {
protected:
    using Strings = std::vector<std::pair<std::wstring, std::wstring>>;

    DescribedFile& AddFile(const Strings& strings = {}) { return files.Add(kPath, {14, 2, 0, 12345}, strings); }

    PlainDates dates{0};
    DescribedFiles files;
};

inline constexpr wchar_t kEngineServer[] =
    L"SOFTWARE\\Classes\\CLSID\\{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}\\LocalServer32";
inline constexpr wchar_t kActiveServer[] =
    L"SOFTWARE\\Classes\\CLSID\\{6A1D44E2-93B7-4C0F-8E55-1F2B7C9D3A60}\\LocalServer32";

} // namespace testing_support::program_files
