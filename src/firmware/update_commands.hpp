// The commands that push a firmware image to encoders or decoders. Each finds the devices by a
// discovery, which waits for a second of silence, and uploads to one after the other.
#pragma once

/// "update all encoders PATH!": a device whose upload fails prints "update err!" and the next one
/// follows. The last upload's result is the command's, so a failed last one turns the answer into a
/// failure, on purpose ("update-all-differs" in docs/kept-behaviours.md). Only the last upload
/// waits for the device's reply.
int Command_updateAllEncoders(int socket, const char* line, char** answer);

/// "update all decoders PATH!": the first failed upload ends the command.
int Command_updateAllDecoders(int socket, const char* line, char** answer);

/// "update device encoder ID PATH!" and "update device decoder ID PATH!": the first device found
/// with exactly this identity. Without one the command fails and prints nothing.
int Command_updateDeviceEncoder(int socket, const char* line, char** answer);
int Command_updateDeviceDecoder(int socket, const char* line, char** answer);
