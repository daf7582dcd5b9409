// Device inventory: the commands that list the devices on the network. The lines take no arguments.
//
// Each answers with "devicelist", an array with one object per reply, in the order in which the
// replies came; devices that do not reply within half a second of the last reply are not in it.
// When the request cannot be sent each prints "Protocol_client_getDevice err!" and fails.
#pragma once

/// "config get devices!": every device.
int Command_getDevices(int socket, const char* line, char** answer);

/// "config get encoders!": whatever replies as an encoder.
int Command_getEncoders(int socket, const char* line, char** answer);

/// "config get decoders!": whatever replies as a decoder.
int Command_getDecoders(int socket, const char* line, char** answer);
