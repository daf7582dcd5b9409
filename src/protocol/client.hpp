// The daemon's one channel to the encoders and decoders.
//
// Requests leave as UDP datagrams to the devices' multicast group; replies arrive on the client's
// own socket, bound to the port above the group's. The client is created once, at start-up, and
// shared by all connection threads without a lock: two requests in flight may read each other's
// replies (kept: shared-client).
//
// The functions return 0 on success and a negative value on failure, and print their own line when
// they fail.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/fixed_text.hpp"
#include "base/shared_handle.hpp"

/// Closes a descriptor.
void Protocol_client_closeDescriptor(std::int32_t descriptor);

using ClientSocket = SharedHandle<std::int32_t, -1, Protocol_client_closeDescriptor>;

struct ProtocolClient {
    /// One of the kState values; any other makes every request fail.
    std::int32_t state;
    /// The UDP socket; none once a send has failed, or after a close.
    ClientSocket socket;
    /// What the client calls itself. Stored, never sent.
    FixedText<128> name;
    /// The control interface, for example "eth0.2".
    FixedText<32> interfaceName;
    /// The control interface's IPv4 address in dotted form, written afresh by every request.
    FixedText<32> currentAddress;
    /// Sent as "hostid" in every request; a reply must carry it back.
    FixedText<32> hostIdentity;
    /// The devices' multicast group in dotted form.
    FixedText<32> group;
    /// The group's port; only the low 16 bits count. Replies come to this port plus one.
    std::uint32_t port;
};

/// Requests are carried out.
inline constexpr std::int32_t kStateReady = 2;
/// Requests succeed at once: nothing is sent and no result is written.
inline constexpr std::int32_t kStateSkipping = 3;
/// Requests are carried out, as when ready.
inline constexpr std::int32_t kStateAlsoReady = 4;

/// The client that every command uses. Null until start-up has created it, and for good when that
/// failed: then every request fails.
extern ProtocolClient* daemonClient;

/// Creates a client and opens its socket.
/// @param out  receives the client, owned by the caller; untouched on failure
/// @return 0; -1 after "param err!" for a null text, "client malloc err!" without memory, or
///         "pEthName(%s) get socket err!" when the socket cannot be had (the object is then kept
///         unreleased)
std::int32_t Protocol_client_create(ProtocolClient** out, const char* interfaceName,
                                    const char* identityName, const char* hostIdentity,
                                    const char* group, std::uint32_t port);

/// Closes the socket and releases the client. No request may be under way.
std::int32_t Protocol_client_destroy(ProtocolClient* client);

/// Opens a UDP socket bound to the port above the client's on all local addresses. The client's own
/// socket is not touched.
/// @return the descriptor; -1 when the socket or its option fails, -2 when it cannot be bound, each
///         reported on standard error
std::int32_t Protocol_client_openSocket(ProtocolClient* client);

/// Closes the client's socket, if it has one. Every later send fails.
std::int32_t Protocol_client_closeSocket(ProtocolClient* client);

/// Joins the devices' group with `socket`, on the interface that has the client's current address.
/// @return 0; -1 after a printed line and a report, with `socket` closed
std::int32_t Protocol_client_joinGroup(ProtocolClient* client, std::int32_t socket);

/// Leaves the group; returns 0 whatever comes of it.
std::int32_t Protocol_client_leaveGroup(ProtocolClient* client);

/// Whether the interface stands and is set down. It keeps its address then, but a request that
/// tried to leave through it would cost the client its socket.
bool Protocol_client_isDown(const char* interfaceName);

/// Writes the interface's IPv4 address in dotted form.
/// @param out  room for 32 characters
/// @return 0; -1 after "socket create failed!/n" or "SIOCGIFADDR Failed!/n", whose "/n"
///         is no line end (kept: slash-n). After the second the query's socket stays open.
std::int32_t Protocol_client_getIfAddr(const char* interfaceName, char* out);

/// Sends `length` bytes of `data` as one datagram to the client's group and port.
/// @param socket  not looked at: the client's own socket is what is used
/// @return 0; -1 after reporting "sendto()", with the client's socket closed for good
///         (kept: failed-send-closes-socket)
std::int32_t Protocol_client_send(ProtocolClient* client, std::int32_t socket, const void* data,
                                  std::size_t length);
