-- Some history for the drives of the default scenario. A volume has two names, as the engine writes C:\ and a user C:.
-- The solid-state drive E: has no history, the USB stick F: has never been optimised.

INSERT INTO Volumes (VolumeId, VolumeName) VALUES
    (1, 'C:\'), (2, 'C:'),
    (3, 'D:\'), (4, 'D:'),
    (5, 'E:\'), (6, 'E:'),
    (7, 'D:\Mounts\Archive\'), (8, 'D:\Mounts\Archive'),
    (9, 'F:\'), (10, 'F:');

-- 46076.25 is 23 February 2026, 06:00; 46083.25 2 March 2026, 06:00; 46088.90625 7 March 2026, 21:45;
-- 46053.9375 31 January 2026, 22:30; 46090.5 9 March 2026, 12:00.
INSERT INTO StatsAnalyze
SELECT VolumeId, StatsDate, FreeSpace, TotalFiles, FragmentedFiles, LargestFreeSpace, FreeSpaceFragmentation,
       FileFragmentation, MftExcessFragments, MetadataExcessFragments, DirectoryFragmentation, DrivePerformance
FROM Volumes
INNER JOIN (
    SELECT 'C:' AS Name, 46076.25 AS StatsDate, 61203283968 AS FreeSpace, 412873 AS TotalFiles,
           31540 AS FragmentedFiles, 9663676416 AS LargestFreeSpace, 51.2 AS FreeSpaceFragmentation,
           21.9 AS FileFragmentation, 14 AS MftExcessFragments, 63 AS MetadataExcessFragments,
           11.4 AS DirectoryFragmentation, 68.0 AS DrivePerformance
    UNION ALL SELECT 'C:', 46083.25, 58720256000, 415206, 27118, 11811160064, 46.0, 18.4, 14, 66, 10.9, 71.5
    UNION ALL SELECT 'D:', 46088.90625, 214748364800, 88214, 19977, 32212254720, 62.5, 33.8, 31, 88, 17.3, 55.0
    UNION ALL SELECT 'D:\Mounts\Archive', 46053.9375, 805306368000, 20411, 503, 268435456000, 12.0, 4.0, 3, 9, 1.2, 90.0
    UNION ALL SELECT 'F:', 46090.5, 6442450944, 1523, 211, 2147483648, 28.5, 7.45, 0, 4, 2.5, 81.0
) AS History ON Volumes.VolumeName IN (History.Name, History.Name || '\');

-- Half an hour after the analyses of the same days.
INSERT INTO StatsDefragOnline
SELECT VolumeId, StatsDate, FreeSpace, TotalFiles, FragmentedFilesBefore, FragmentedFilesAfter, LargestFreeSpaceBefore,
       LargestFreeSpaceAfter, FreeSpaceFragmentationBefore, FreeSpaceFragmentationAfter, FileFragmentationBefore,
       FileFragmentationAfter, MftExcessFragments, MetadataExcessFragments, DirectoryFragmentation,
       DrivePerformanceBefore, DrivePerformanceAfter
FROM Volumes
INNER JOIN (
    SELECT 'C:' AS Name, 46076.270833333333 AS StatsDate, 61203283968 AS FreeSpace, 412873 AS TotalFiles,
           31540 AS FragmentedFilesBefore, 1822 AS FragmentedFilesAfter, 9663676416 AS LargestFreeSpaceBefore,
           38654705664 AS LargestFreeSpaceAfter, 51.2 AS FreeSpaceFragmentationBefore,
           24.0 AS FreeSpaceFragmentationAfter, 21.9 AS FileFragmentationBefore, 3.4 AS FileFragmentationAfter,
           14 AS MftExcessFragments, 63 AS MetadataExcessFragments, 11.4 AS DirectoryFragmentation,
           68.0 AS DrivePerformanceBefore, 91.8 AS DrivePerformanceAfter
    UNION ALL SELECT 'C:', 46083.270833333333, 58720256000, 415206, 27118, 1204, 11811160064, 41875931136, 46.0, 21.7,
                     18.4, 2.1, 14, 66, 10.9, 71.5, 93.2
    UNION ALL SELECT 'D:', 46088.927083333333, 214748364800, 88214, 19977, 2210, 32212254720, 139586437120, 62.5, 30.1,
                     33.8, 5.6, 31, 88, 17.3, 55.0, 88.4
    UNION ALL SELECT 'D:\Mounts\Archive', 46053.958333333333, 805306368000, 20411, 503, 40, 268435456000, 644245094400,
                     12.0, 8.5, 4.0, 0.5, 3, 9, 1.2, 90.0, 97.0
) AS History ON Volumes.VolumeName IN (History.Name, History.Name || '\');

-- 46083.125 is 2 March 2026, 03:00; 46054.125 1 February 2026, 03:00.
INSERT INTO StatsDefragOffline
SELECT VolumeId, StatsDate, MftExcessFragmentsBefore, MftExcessFragmentsAfter, MetadataExcessFragmentsBefore,
       MetadataExcessFragmentsAfter, DirectoryFragmentsBefore, DirectoryFragmentsAfter
FROM Volumes
INNER JOIN (
    SELECT 'C:' AS Name, 46083.125 AS StatsDate, 22 AS MftExcessFragmentsBefore, 14 AS MftExcessFragmentsAfter,
           109 AS MetadataExcessFragmentsBefore, 66 AS MetadataExcessFragmentsAfter,
           2480 AS DirectoryFragmentsBefore, 312 AS DirectoryFragmentsAfter
    UNION ALL SELECT 'D:\Mounts\Archive', 46054.125, 7, 3, 17, 9, 260, 21
) AS History ON Volumes.VolumeName IN (History.Name, History.Name || '\');
