// What the system knows of this process.
#pragma once

namespace avoip::gw {

struct ProcessFacts {
    double cpu_s = 0;
    double startTime_s = 0;  ///< since 1970
    double virtual_bytes = 0;
    double resident_bytes = 0;
    double openDescriptors = 0;
    double maxDescriptors = 0;
};

/// Reads them; 0 where the system does not say.
ProcessFacts Process_read();

}  // namespace avoip::gw
