#include "qvlibs/framework/Messages.h"

#include <atomic>
#include <cstdio>

namespace qv {
namespace {

constinit std::atomic<MessageHandler> messageHandler{nullptr};
constinit std::atomic<WaitHandler> waitHandler{nullptr};

} // namespace

MessageHandler setMessageHandler(MessageHandler handler) { return messageHandler.exchange(handler); }
WaitHandler setWaitHandler(WaitHandler handler) { return waitHandler.exchange(handler); }

void showMessage(const char* text, const char* caption, MessageKind kind) {
    if (MessageHandler handler = messageHandler.load()) {
        handler(text, caption, kind);
        return;
    }
    const bool named = caption && *caption;
    std::fprintf(stderr, "%s%s%s\n", named ? caption : "", named ? ": " : "", text ? text : "");
}

WaitCursor::WaitCursor(bool shown) : handler_(shown ? waitHandler.load() : nullptr) {
    if (handler_) handler_(true);
}

WaitCursor::~WaitCursor() {
    if (handler_) handler_(false);
}

} // namespace qv
