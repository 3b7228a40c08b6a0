#pragma once

// What the reports ask the database. "%1%" stands for the drive's name as a string literal. The newest row comes first.

inline constexpr wchar_t kAnalyzeStatement[] =
    L"SELECT StatsAnalyze.StatsDate              , \n"
    L"       StatsAnalyze.FreeSpace              , \n"
    L"       StatsAnalyze.TotalFiles             , \n"
    L"       StatsAnalyze.FragmentedFiles        , \n"
    L"       StatsAnalyze.LargestFreeSpace       , \n"
    L"       StatsAnalyze.FreeSpaceFragmentation , \n"
    L"       StatsAnalyze.FileFragmentation      , \n"
    L"       StatsAnalyze.MftExcessFragments     , \n"
    L"       StatsAnalyze.MetadataExcessFragments, \n"
    L"       StatsAnalyze.DirectoryFragmentation , \n"
    L"       StatsAnalyze.DrivePerformance         \n"
    L"FROM StatsAnalyze                                 \n"
    L"INNER JOIN Volumes                                \n"
    L"      ON StatsAnalyze.VolumeId = Volumes.VolumeId \n"
    L"WHERE UPPER(Volumes.VolumeName) = UPPER(%1%)      \n"
    L"ORDER BY StatsAnalyze.StatsDate DESC;             \n";

inline constexpr wchar_t kOnlineStatement[] =
    L"SELECT StatsDefragOnline.StatsDate                    , \n"
    L"       StatsDefragOnline.FreeSpace                    , \n"
    L"       StatsDefragOnline.TotalFiles                   , \n"
    L"       StatsDefragOnline.FragmentedFilesBefore        , \n"
    L"       StatsDefragOnline.FragmentedFilesAfter         , \n"
    L"       StatsDefragOnline.LargestFreeSpaceBefore       , \n"
    L"       StatsDefragOnline.LargestFreeSpaceAfter        , \n"
    L"       StatsDefragOnline.FreeSpaceFragmentationBefore , \n"
    L"       StatsDefragOnline.FreeSpaceFragmentationAfter  , \n"
    L"       StatsDefragOnline.FileFragmentationBefore      , \n"
    L"       StatsDefragOnline.FileFragmentationAfter       , \n"
    L"       StatsDefragOnline.MftExcessFragments           , \n"
    L"       StatsDefragOnline.MetadataExcessFragments      , \n"
    L"       StatsDefragOnline.DirectoryFragmentation       , \n"
    L"       StatsDefragOnline.DrivePerformanceBefore       , \n"
    L"       StatsDefragOnline.DrivePerformanceAfter          \n"
    L"FROM StatsDefragOnline                                  \n"
    L"INNER JOIN Volumes                                      \n"
    L"      ON StatsDefragOnline.VolumeId = Volumes.VolumeId  \n"
    L"WHERE UPPER(Volumes.VolumeName) = UPPER(%1%)            \n"
    L"ORDER BY StatsDefragOnline.StatsDate DESC;              \n";

inline constexpr wchar_t kOfflineStatement[] =
    L"SELECT StatsDefragOffline.StatsDate                    , \n"
    L"       StatsDefragOffline.MftExcessFragmentsBefore     , \n"
    L"       StatsDefragOffline.MftExcessFragmentsAfter      , \n"
    L"       StatsDefragOffline.MetadataExcessFragmentsBefore, \n"
    L"       StatsDefragOffline.MetadataExcessFragmentsAfter , \n"
    L"       StatsDefragOffline.DirectoryFragmentsBefore     , \n"
    L"       StatsDefragOffline.DirectoryFragmentsAfter        \n"
    L"FROM StatsDefragOffline                                  \n"
    L"INNER JOIN Volumes                                       \n"
    L"      ON StatsDefragOffline.VolumeId = Volumes.VolumeId  \n"
    L"WHERE UPPER(Volumes.VolumeName) = UPPER(%1%)             \n"
    L"ORDER BY StatsDefragOffline.StatsDate DESC;              \n";
