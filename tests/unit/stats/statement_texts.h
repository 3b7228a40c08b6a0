#pragma once

// The statements of the reports, byte for byte: the blanks at the ends of their lines are part of them.

namespace testing_support::statements {

inline constexpr wchar_t kAnalyzeStatementText[] = LR"(SELECT StatsAnalyze.StatsDate              , 
       StatsAnalyze.FreeSpace              , 
       StatsAnalyze.TotalFiles             , 
       StatsAnalyze.FragmentedFiles        , 
       StatsAnalyze.LargestFreeSpace       , 
       StatsAnalyze.FreeSpaceFragmentation , 
       StatsAnalyze.FileFragmentation      , 
       StatsAnalyze.MftExcessFragments     , 
       StatsAnalyze.MetadataExcessFragments, 
       StatsAnalyze.DirectoryFragmentation , 
       StatsAnalyze.DrivePerformance         
FROM StatsAnalyze                                 
INNER JOIN Volumes                                
      ON StatsAnalyze.VolumeId = Volumes.VolumeId 
WHERE UPPER(Volumes.VolumeName) = UPPER(%1%)      
ORDER BY StatsAnalyze.StatsDate DESC;             
)";

inline constexpr wchar_t kOnlineStatementText[] = LR"(SELECT StatsDefragOnline.StatsDate                    , 
       StatsDefragOnline.FreeSpace                    , 
       StatsDefragOnline.TotalFiles                   , 
       StatsDefragOnline.FragmentedFilesBefore        , 
       StatsDefragOnline.FragmentedFilesAfter         , 
       StatsDefragOnline.LargestFreeSpaceBefore       , 
       StatsDefragOnline.LargestFreeSpaceAfter        , 
       StatsDefragOnline.FreeSpaceFragmentationBefore , 
       StatsDefragOnline.FreeSpaceFragmentationAfter  , 
       StatsDefragOnline.FileFragmentationBefore      , 
       StatsDefragOnline.FileFragmentationAfter       , 
       StatsDefragOnline.MftExcessFragments           , 
       StatsDefragOnline.MetadataExcessFragments      , 
       StatsDefragOnline.DirectoryFragmentation       , 
       StatsDefragOnline.DrivePerformanceBefore       , 
       StatsDefragOnline.DrivePerformanceAfter          
FROM StatsDefragOnline                                  
INNER JOIN Volumes                                      
      ON StatsDefragOnline.VolumeId = Volumes.VolumeId  
WHERE UPPER(Volumes.VolumeName) = UPPER(%1%)            
ORDER BY StatsDefragOnline.StatsDate DESC;              
)";

inline constexpr wchar_t kOfflineStatementText[] = LR"(SELECT StatsDefragOffline.StatsDate                    , 
       StatsDefragOffline.MftExcessFragmentsBefore     , 
       StatsDefragOffline.MftExcessFragmentsAfter      , 
       StatsDefragOffline.MetadataExcessFragmentsBefore, 
       StatsDefragOffline.MetadataExcessFragmentsAfter , 
       StatsDefragOffline.DirectoryFragmentsBefore     , 
       StatsDefragOffline.DirectoryFragmentsAfter        
FROM StatsDefragOffline                                  
INNER JOIN Volumes                                       
      ON StatsDefragOffline.VolumeId = Volumes.VolumeId  
WHERE UPPER(Volumes.VolumeName) = UPPER(%1%)             
ORDER BY StatsDefragOffline.StatsDate DESC;              
)";

} // namespace testing_support::statements
