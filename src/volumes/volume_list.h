#pragma once

#include "win/variant.h"

#include <cstdint>
#include <string>

// Sorts the local volumes, but for floppies, into those that the product would optimise and the others; each list holds
// volume GUID paths without their closing backslash, in Windows' order, as an array of BSTR. Both outputs keep what
// they held where Windows lists no volumes. The two flags are not used; callers pass them.
void EnumerateLocalVolumes(std::uint32_t flags, std::uint32_t moreFlags, win::Variant& eligible, win::Variant& other);

// Where a volume, named by its GUID path with the closing backslash, is mounted: a drive root ("C:\\") or a folder on a
// lettered volume that is not a floppy; empty where it is not.
void FindVolumeMountPath(const std::wstring& volumeName, std::wstring& mountPath);
