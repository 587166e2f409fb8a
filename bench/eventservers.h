#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

/// The servers that bench/websocket_ratio.cpp compares. Each runs in a process of its own, so that its
/// processor time can be told from that of the clients.
///
/// A client says "subscribe" or "unsubscribe" as clients of the event server do; it gets a result, and behind
/// the one of "subscribe" the event that all get later. The bytes of the bare servers are those of ours.
enum class EEventServer : int
{
    /// websocketpp alone, which sends one prepared frame to all; nothing in its access log.
    BareSilent,
    /// The same with the access log of ours.
    Bare,
    Ours,
    /// Ours, whose clients belong to EventSessions sessions.
    OursWithSessions
};

constexpr std::size_t EventSessions = 20;

/// Length of an event's text in bytes.
constexpr std::size_t EventLength = 300;

extern const char* const SubscribeRequest;
extern const char* const UnsubscribeRequest;

/// What a server's process shares with the one that measures.
struct SEventServerState
{
    /// By the monotonic clock in nanoseconds: when the last event was notified.
    std::atomic<std::int64_t> notified{0};

    /// Keys of the sessions that clients may present, before the server takes its first client.
    std::array<std::array<char, 128>, EventSessions> sessions{};
};

/// Serves on @p port. Each std::uint32_t that comes on the standard input has that many events notified, by
/// another thread than the server's. Ends the process at the input's end.
[[noreturn]] void ServeEvents(EEventServer kind, std::uint16_t port, SEventServerState& state);
