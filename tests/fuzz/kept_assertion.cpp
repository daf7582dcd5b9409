#include "fuzz/kept_assertion.hpp"

#include "base64.hpp"

/// The decoder of src/base64.cpp, which is built under this name for the fuzz targets.
int base64_decodeOrEnd(unsigned char* out, const char* text, int bytes);

int base64_decode(unsigned char* out, const char* text, int bytes) {
    if (bytes % 4 != 0) {
        throw fuzz::DaemonEnds{};
    }
    return base64_decodeOrEnd(out, text, bytes);
}
