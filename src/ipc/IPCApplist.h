// SPDX-License-Identifier: MIT

// The channel: turns a transport's raw buffers into calls on one handler object, and sends events.
//
// BASE_CLASS is the transport; T is the class of the handler. The channel adds exactly one thing to
// the transport's buffers: a 4-byte message id at the end of every message and notification, in the
// host's byte order. It never looks at the payload, and a reply has no id and is not changed.
//
// Threads: no lock; every call, in either direction, is made on the thread of the transport's loop.
// Lifetime: a registered handler unregisters itself before it is destroyed. The channel catches
// nothing: what a handler throws reaches the transport.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/AppListLog.h"

template <class BASE_CLASS, class T>
class IPCApplist : public BASE_CLASS {
public:
    typedef std::vector<char> (T::*MessageProc)(int messageId, const std::vector<char>& payload);
    typedef void (T::*NotificationProc)(int messageId, const std::vector<char>& payload);
    typedef void (T::*ConnectionReadyProc)(const std::string& partner);

    // The message id and its 4 bytes.
    union byteint {
        unsigned char b[4];
        std::int32_t i;
    };

    // Brings the endpoint "Applist" up. Throws whatever the transport's constructor throws.
    IPCApplist();

    ~IPCApplist() override {}

    // Each sets the one handler of its kind; a later call replaces an earlier one.
    // Unregistering does nothing unless `object` is the registered handler.
    void RegisterOnMessage(T* object, MessageProc proc);
    void UnregisterOnMessage(T* object);
    void RegisterOnNotification(T* object, NotificationProc proc);
    void UnregisterOnNotification(T* object);
    void RegisterOnConnectionReady(T* object, ConnectionReadyProc proc);
    void UnregisterOnConnectionReady(T* object);

    // Called by the transport with one message. Takes the id off the end of `data` and returns the
    // handler's reply; empty when `data` holds no id (it is then unchanged) or nobody handles it.
    std::vector<char> HandleMessage(std::vector<char>& data) override;

    // Called by the transport with one notification; otherwise like HandleMessage.
    void HandleNotification(std::vector<char>& data) override;

    // Called by the transport when the connection to `partner` has become usable (state true) or
    // has gone. Only the first kind reaches the handler.
    void HandleConnectionReady(bool state, const std::string& partner) override;

    // Sends an event without payload to `partner`, or to the default destination when that is
    // empty.
    void SendNotification(int messageId, const std::string& partner);

    // The same through a buffer of the caller's, whose content is lost. With room for
    // sizeof(byteint) bytes in it, the channel needs no memory.
    void SendNotification(int messageId, const std::string& partner,
                          std::vector<char>& messageData);

    // Sends `length` bytes at `payload` as a call of `messageId` and returns the reply. Available
    // over a transport that has `std::vector<char> SendMessage(std::vector<char>&)`, which says
    // how long that may take and what it throws; the service's own transport does not have it.
    std::vector<char> SendMessage(int messageId, const char* payload, std::size_t length);

    // Takes `payload` over and sends it as a call of `messageId`, without a copy when it has room
    // for sizeof(byteint) more bytes. Returns at once; `onReply` gets what became of the message.
    // Available over a transport that has `void PostMessage(std::vector<char>, OnReply)`.
    template <class OnReply>
    void PostMessage(int messageId, std::vector<char> payload, OnReply onReply);

private:
    // Moves the id from the end of `data` to `conv`. Returns false, and changes nothing, when
    // `data` is too short to hold one.
    static bool TakeMessageId(std::vector<char>& data, byteint& conv);
    static void AppendMessageId(int messageId, std::vector<char>& messageData);

    // Each member-function pointer is valid only while the object beside it is not null.
    T* callbackMessageObject;
    MessageProc callbackMessageProc;
    T* callbackNotificationObject;
    NotificationProc callbackNotificationProc;
    T* connectionReadyCallbackObject;
    ConnectionReadyProc connectionReadyCallbackProc;
};

template <class BASE_CLASS, class T>
IPCApplist<BASE_CLASS, T>::IPCApplist()
    : BASE_CLASS(std::string("Applist")),
      callbackMessageObject(nullptr),
      callbackNotificationObject(nullptr),
      connectionReadyCallbackObject(nullptr) {
    APPLIST_LOG(applist::logging::kDebug, "IPCApplist");
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::RegisterOnMessage(T* object, MessageProc proc) {
    callbackMessageObject = object;
    callbackMessageProc = proc;
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::UnregisterOnMessage(T* object) {
    if (callbackMessageObject != object) return;
    callbackMessageObject = nullptr;
    APPLIST_LOG(applist::logging::kInfo, "Unregistered callbackMessageObject");
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::RegisterOnNotification(T* object, NotificationProc proc) {
    callbackNotificationObject = object;
    callbackNotificationProc = proc;
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::UnregisterOnNotification(T* object) {
    if (callbackNotificationObject != object) return;
    callbackNotificationObject = nullptr;
    APPLIST_LOG(applist::logging::kInfo, "Unregistered callbackNotificationObject");
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::RegisterOnConnectionReady(T* object, ConnectionReadyProc proc) {
    connectionReadyCallbackObject = object;
    connectionReadyCallbackProc = proc;
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::UnregisterOnConnectionReady(T* object) {
    if (connectionReadyCallbackObject != object) return;
    connectionReadyCallbackObject = nullptr;
    APPLIST_LOG(applist::logging::kInfo, "Unregistered connectionReadyCallbackObject");
}

template <class BASE_CLASS, class T>
std::vector<char> IPCApplist<BASE_CLASS, T>::HandleMessage(std::vector<char>& data) {
    APPLIST_LOG(applist::logging::kDebug, "IPC HandleMessage");
    byteint conv;
    if (!TakeMessageId(data, conv)) {
        APPLIST_LOG(applist::logging::kError, "Data corrupted. Does not contain message id.");
        return std::vector<char>();
    }
    if (callbackMessageObject == nullptr) {
        APPLIST_LOG(applist::logging::kInfo, "callbackMessageObject object is NULL");
        return std::vector<char>();
    }
    return (callbackMessageObject->*callbackMessageProc)(conv.i, data);
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::HandleNotification(std::vector<char>& data) {
    APPLIST_LOG(applist::logging::kDebug, "IPC HandleNotification");
    byteint conv;
    if (!TakeMessageId(data, conv)) {
        APPLIST_LOG(applist::logging::kError, "Data corrupted. Does not contain message id.");
        return;
    }
    if (callbackNotificationObject == nullptr) {
        APPLIST_LOG(applist::logging::kInfo, "callbackNotificationObject object is NULL");
        return;
    }
    (callbackNotificationObject->*callbackNotificationProc)(conv.i, data);
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::HandleConnectionReady(bool state, const std::string& partner) {
    APPLIST_LOG(applist::logging::kDebug, "HandleConnectionReady state=%d, partner=%s",
                state ? 1 : 0, partner.c_str());
    if (!state || connectionReadyCallbackObject == nullptr) return;
    APPLIST_LOG(applist::logging::kDebug, "Calling connection ready callback");
    (connectionReadyCallbackObject->*connectionReadyCallbackProc)(partner);
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::SendNotification(int messageId, const std::string& partner) {
    std::vector<char> messageData;
    SendNotification(messageId, partner, messageData);
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::SendNotification(int messageId, const std::string& partner,
                                                 std::vector<char>& messageData) {
    messageData.clear();
    AppendMessageId(messageId, messageData);
    if (partner.empty()) {
        BASE_CLASS::SendNotification(messageData);
    } else {
        BASE_CLASS::SendNotification(messageData, partner);
    }
}

template <class BASE_CLASS, class T>
std::vector<char> IPCApplist<BASE_CLASS, T>::SendMessage(int messageId, const char* payload,
                                                         std::size_t length) {
    // Room for the id, too: without it, appending the id would copy the whole payload again.
    std::vector<char> messageData;
    messageData.reserve(length + sizeof(byteint));
    messageData.assign(payload, payload + length);
    AppendMessageId(messageId, messageData);
    return BASE_CLASS::SendMessage(messageData);
}

template <class BASE_CLASS, class T>
template <class OnReply>
void IPCApplist<BASE_CLASS, T>::PostMessage(int messageId, std::vector<char> payload,
                                            OnReply onReply) {
    AppendMessageId(messageId, payload);
    BASE_CLASS::PostMessage(std::move(payload), std::move(onReply));
}

// The id leaves the caller's buffer whether or not there is a handler, so that what remains there
// is always the payload.
template <class BASE_CLASS, class T>
bool IPCApplist<BASE_CLASS, T>::TakeMessageId(std::vector<char>& data, byteint& conv) {
    if (data.size() < sizeof(conv.b)) return false;
    const std::vector<char>::iterator it = data.end() - sizeof(conv.b);
    for (int i = 0; i < 4; ++i) conv.b[i] = static_cast<unsigned char>(it[i]);
    data.erase(it, data.end());
    return true;
}

template <class BASE_CLASS, class T>
void IPCApplist<BASE_CLASS, T>::AppendMessageId(int messageId, std::vector<char>& messageData) {
    byteint conv;
    conv.i = messageId;
    messageData.reserve(messageData.size() + sizeof(conv.b));
    for (int i = 0; i < 4; ++i) messageData.push_back(static_cast<char>(conv.b[i]));
}
