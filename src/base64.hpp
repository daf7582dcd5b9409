// Base64 with the RFC 4648 alphabet and "=" as the fill character. Carries EDID bytes and serial
// and IR data inside JSON texts.
#pragma once

#include <cstddef>

/// Writes four characters for every started group of three bytes.
/// @param text  room for 4 * ((count + 2) / 3) characters; no terminating zero is written
/// @return the number of characters written
int base64_encode(char* text, const unsigned char* data, int count);

/// Decodes `bytes` characters of text. Characters outside the alphabet count as 0, and "=" is
/// looked at in the last group of four only.
/// @param out    room for bytes / 4 * 3 bytes
/// @param bytes  the text's length. One that is not a multiple of 4 ends the process by an
///               assertion, in every build (kept: base64-assertion).
/// @return the number of bytes written
int base64_decode(unsigned char* out, const char* text, int bytes);
