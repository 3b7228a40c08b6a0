#pragma once

#include "language_texts.h"

namespace e2e {

// The model of the other languages' texts. Its usage screen is in support/usage_screen.h.
inline constexpr LanguageTexts kEnglish{
    .name = "English",
    .language = 1033,
    .page = 437,
    .status = L"Velundra 14.0\n"
              L"Drive name: C:\\Status: Idle\n"
              L"Drive name: D:\\Status: Analyzing\n"
              L"Drive name: E:\\Status: Defragmenting\n"
              L"Drive name: F:\\Status: Offline Verify\n"
              L"Drive name: G:\\Status: Offline Defrag Directories\n"
              L"Drive name: H:\\Status: Offline Defrag System Files\n"
              L"Drive name: I:\\Status: Offline Defrag Page File\n"
              L"Drive name: J:\\Status: Done\n",
    .refusal = L"Velundra 14.0\n"
               L"You do not have permission to analyze the drive(s).\n",
    .failure = L"Velundra 14.0\n"
               L"Analyze failed due to error {error}\n",
    .notInstalled = L"Velundra 14.0\n"
                    L"Velundra is not installed on computer 'SRV3'\n",
    .analysis = L"Velundra 14.0\n"
                L"\n"
                L"Local Computer            :   {computer}\n"
                L"\n"
                L"Drive                     :   C:\n"
                L"Date                      :   {local}\n"
                L"Free Space                :   6.01 GB\n"
                L"Total Files               :   1523\n"
                L"Fragmented Files          :   211\n"
                L"Largest Free Space        :   1.01 MB\n"
                L"Free Space Fragmentation  :   28.5%\n"
                L"File Fragmentation        :   7.5%\n"
                L"MFT Excess Fragments      :   0\n"
                L"Metadata Excess Fragments :   1000000\n"
                L"Directory Fragmentation   :   0.0%\n"
                L"Drive Performance         :   100.0%\n"
                L"\n",
    .online = L"Velundra 14.0\n"
              L"\n"
              L"Local Computer                  :   {computer}\n"
              L"\n"
              L"Drive                           :   C:\n"
              L"Date                            :   {local}\n"
              L"Free Space                      :   1 TB\n"
              L"Total Files                     :   88214\n"
              L"Fragmented Files Before         :   19977\n"
              L"Fragmented Files After          :   0\n"
              L"Largest Free Space Before       :   512 B\n"
              L"Largest Free Space After        :   1.01 KB\n"
              L"Free Space Fragmentation Before :   62.5%\n"
              L"Free Space Fragmentation After  :   30.1%\n"
              L"File Fragmentation Before       :   33.8%\n"
              L"File Fragmentation After        :   5.6%\n"
              L"MFT Excess Fragments            :   31\n"
              L"Metadata Excess Fragments       :   88\n"
              L"Drive Performance Before        :   55.0%\n"
              L"Drive Performance After         :   100.0%\n"
              L"\n",
    .offline = L"Velundra 14.0\n"
               L"\n"
               L"Local Computer                   :   {computer}\n"
               L"\n"
               L"Drive                            :   C:\n"
               L"Date                             :   {local}\n"
               L"MFT Excess Fragments Before      :   22\n"
               L"MFT Excess Fragments After       :   14\n"
               L"Metadata Excess Fragments Before :   109\n"
               L"Metadata Excess Fragments After  :   66\n"
               L"Directory Fragments Before       :   2480\n"
               L"Directory Fragments After        :   312\n"
               L"\n",
    .remote = L"Velundra 14.0\n"
              L"Remote Computer:   SRV1\n"
              L"Drive   :   C:\n"
              L"Date    :   {remote}\n"
              L"\t\t\t\tBefore\tAfter\n"
              L"File Fragmentation\t\t13%\t1%\n"
              L"Free Space Fragmentation\t30%\t100%\n"
              L"Performance\t\t\t80%\t97%\n"
              L"No statistics data available for D: drive.\n",
};

} // namespace e2e
