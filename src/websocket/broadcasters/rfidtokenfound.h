#pragma once

#include "src/websocket/itopic.h"

#include "contracts/rfid.h"

#include <memory>

/// Sends the RFID tokens that are held before the reader: {"tokenId": string}.
///
/// Each subscription switches the reader's report on; a listener that leaves switches it off if it was the
/// last. A failure to do so is not repeated, and with the broadcaster the report stays as it is.
///
/// Threads: those that deliver the reader's notifications and run the topic's handlers. What is under way
/// while the broadcaster is destroyed ends undisturbed.
class CRfidTokenFoundBroadcaster
{
public:
    /// Takes the reader's one place for a receiver and the topic's handlers, and leaves them behind without
    /// effect.
    CRfidTokenFoundBroadcaster(std::shared_ptr<ITopic> topic, std::shared_ptr<IRfid> rfid);

private:
    struct SCore;

    void ConnectService();

    // Constant after construction
    const std::shared_ptr<SCore> core;
};
