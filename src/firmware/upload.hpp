// Pushes a firmware image file to one device, over a TCP connection to its port 5888.
//
// The stream is a sequence of chunks, nothing before, between or after them:
//
//   '$' KIND LENGTH DATA      LENGTH: 2 bytes, little-endian, 1 to 4096; DATA: LENGTH bytes
//
//   KIND 'E'  the only chunk of an image of at most 4096 bytes
//        'A'  the first chunk of a larger one, 'B' one of those between, 'D' the last one
//
// The device learns from kind 'D' or 'E' that the image is complete. Two uploads may run at once.
#pragma once

#include "protocol/client.hpp"

/// Uploads an image to an encoder. Prints the image's name, version and size on the way.
/// @param client  not used
/// @param ip      the device's IPv4 address in dotted form
/// @param path    the image file, a regular one; its name must contain "TX"
/// @param wait    wait up to 300 s for the device's reply after the last chunk, and print it; what
///                comes of that does not change the result
/// @return 0 when every chunk was sent; -1 after printing why not. The file stays open when the
///         magic, the name or the connection fails (kept: image-left-open).
int Main_update_encoder(ProtocolClient* client, const char* ip, const char* path, bool wait);

/// The same for a decoder, whose image's name must contain "RX". The message for a wrong name is
/// the encoder's (kept: copied-error-lines).
int Main_update_decoder(ProtocolClient* client, const char* ip, const char* path, bool wait);
