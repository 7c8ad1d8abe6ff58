// Messages that the library would show to a person: failures that have no result to travel in, and the wait
// cursor. A library must not block or open windows by itself, so everything goes through one handler.
#pragma once

#include "qvlibs/framework/Types.h"

namespace qv {

enum class MessageKind : int { Information, Warning, Error };

// Receives a message. Called on the thread that met it; must not throw.
using MessageHandler = void (*)(const char* text, const char* caption, MessageKind kind);
// Called with true when a long operation starts and with false when it ends.
using WaitHandler = void (*)(bool waiting);

// Null restores the default, which writes one line to standard error (and nothing for waiting).
// Both return the handler set before, or null. May be called from any thread.
QVLIBS_API MessageHandler setMessageHandler(MessageHandler handler);
QVLIBS_API WaitHandler setWaitHandler(WaitHandler handler);

QVLIBS_API void showMessage(const char* text, const char* caption, MessageKind kind);

// The wait cursor for the life of the object.
class QVLIBS_API WaitCursor {
public:
    explicit WaitCursor(bool shown);
    ~WaitCursor();
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;

private:
    WaitHandler handler_;
};

} // namespace qv
