// What has changed in a chat or a space and is stored. Made by the REST half, told by the chat
// half.
#pragma once

#include "service/store/messages.h"
#include "service/store/rooms.h"

#include <functional>
#include <variant>

struct MessageStored {
    ChatScope scope;
    Message message;
};

struct RoomCreated {
    Room room;
};

struct RoomDeleted {
    Room room; ///< as it was
};

using ChatEvent = std::variant<MessageStored, RoomCreated, RoomDeleted>;

/// Gets every event once it is on the disk, in the order in which they happened. Empty where nobody
/// listens.
using ChatListener = std::function<void(const ChatEvent& event)>;
