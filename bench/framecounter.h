#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// WebSocket clients of the loopback which do no more with what they get than count the text frames, so that
/// the server's side is what a measurement shows. They answer no pings.
///
/// All throw std::runtime_error when a connection fails or something comes that wasn't awaited.
class CFrameCounter
{
public:
    /// Opens @p connections connections, those with the cookies of @p sessions in turn.
    CFrameCounter(std::uint16_t port, std::size_t connections, const std::vector<std::string>& sessions);
    ~CFrameCounter();
    CFrameCounter(const CFrameCounter&) = delete;
    CFrameCounter& operator=(const CFrameCounter&) = delete;
    CFrameCounter(CFrameCounter&&) = delete;
    CFrameCounter& operator=(CFrameCounter&&) = delete;

    /// Sends a text frame of less than 126 bytes on each connection.
    void SendAll(const std::string& text);

    /// Waits until so many text frames have come over all connections since the last call.
    void Await(std::size_t frames);

    /// All that has come on the first connection, with the frames' headers; nothing from then on.
    std::string TakeFirstBytes();

private:
    struct SConnection
    {
        int socket = -1;
        /// Bytes of the frame under way that are still to come.
        std::size_t rest = 0;
        bool text = false;
        /// Bytes of a header that has not come whole.
        std::string header;
    };

    void Open(std::uint16_t port, const std::string& session);
    void Read(SConnection& connection);
    std::size_t TakeHeader(SConnection& connection, const char* bytes, std::size_t length);

    int poll;
    std::vector<SConnection> connections;
    std::size_t counted = 0;
    bool keeping = true;
    std::string firstBytes;
};
