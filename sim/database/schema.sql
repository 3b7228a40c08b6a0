-- The statistics database, for SQLite and PostgreSQL.
--
-- StatsDate is an automation date in local time: days since 30 December 1899, the fraction being the time of day.
-- Sizes are bytes; fragmentation and performance are percent values, 12.5 for 12.5 %.

CREATE TABLE Volumes (
    VolumeId   INTEGER NOT NULL PRIMARY KEY,
    VolumeName VARCHAR(1024) NOT NULL UNIQUE
);

CREATE TABLE StatsAnalyze (
    VolumeId                INTEGER NOT NULL REFERENCES Volumes (VolumeId),
    StatsDate               DOUBLE PRECISION NOT NULL,
    FreeSpace               BIGINT,
    TotalFiles              BIGINT,
    FragmentedFiles         BIGINT,
    LargestFreeSpace        BIGINT,
    FreeSpaceFragmentation  DOUBLE PRECISION,
    FileFragmentation       DOUBLE PRECISION,
    MftExcessFragments      BIGINT,
    MetadataExcessFragments BIGINT,
    DirectoryFragmentation  DOUBLE PRECISION,
    DrivePerformance        DOUBLE PRECISION
);

CREATE TABLE StatsDefragOnline (
    VolumeId                     INTEGER NOT NULL REFERENCES Volumes (VolumeId),
    StatsDate                    DOUBLE PRECISION NOT NULL,
    FreeSpace                    BIGINT,
    TotalFiles                   BIGINT,
    FragmentedFilesBefore        BIGINT,
    FragmentedFilesAfter         BIGINT,
    LargestFreeSpaceBefore       BIGINT,
    LargestFreeSpaceAfter        BIGINT,
    FreeSpaceFragmentationBefore DOUBLE PRECISION,
    FreeSpaceFragmentationAfter  DOUBLE PRECISION,
    FileFragmentationBefore      DOUBLE PRECISION,
    FileFragmentationAfter       DOUBLE PRECISION,
    MftExcessFragments           BIGINT,
    MetadataExcessFragments      BIGINT,
    DirectoryFragmentation       DOUBLE PRECISION,
    DrivePerformanceBefore       DOUBLE PRECISION,
    DrivePerformanceAfter        DOUBLE PRECISION
);

CREATE TABLE StatsDefragOffline (
    VolumeId                      INTEGER NOT NULL REFERENCES Volumes (VolumeId),
    StatsDate                     DOUBLE PRECISION NOT NULL,
    MftExcessFragmentsBefore      BIGINT,
    MftExcessFragmentsAfter       BIGINT,
    MetadataExcessFragmentsBefore BIGINT,
    MetadataExcessFragmentsAfter  BIGINT,
    DirectoryFragmentsBefore      BIGINT,
    DirectoryFragmentsAfter       BIGINT
);

CREATE INDEX StatsAnalyzeByVolume ON StatsAnalyze (VolumeId, StatsDate);
CREATE INDEX StatsDefragOnlineByVolume ON StatsDefragOnline (VolumeId, StatsDate);
CREATE INDEX StatsDefragOfflineByVolume ON StatsDefragOffline (VolumeId, StatsDate);
