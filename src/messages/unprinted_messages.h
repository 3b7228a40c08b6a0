#pragma once

#include "messages/catalogue.h"

// Messages of the product's catalogue that this program never prints. They stand here for translators, whose files
// serve the whole product.
inline constexpr Message kUnprintedMessages[] = {
    {938, "Command line option %1 is invalid."},
    {2227, "No files specified for this operation."},
    {2932, "Specified files are located on multiple drives."},
    {267, "%1 Could not be converted to a known drive type ."},
    {1886, "Hard Drive"},
    {1584, "External Hard Drive"},
    {1744, "Flash Drive"},
    {2920, "Solid State Drive(SSD)"},
    {1745, "Floppy Drive"},
    {2201, "Network Drive"},
    {3372, "Unknown Drive"},
};
