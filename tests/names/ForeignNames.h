// SPDX-License-Identifier: MIT

// A program's own types, global and with the names that the libraries and the programs use inside.
// Each differs in layout from its namesake: were the linker to take one for the other, the heap
// would be corrupted without a warning.

#pragma once

#include <string>

#define FOREIGN_TYPES(EACH)     \
    EACH(AppInfosDelete)        \
    EACH(ApplicationList)       \
    EACH(BusCalls)              \
    EACH(BusKind)               \
    EACH(BusLink)               \
    EACH(BusLocation)           \
    EACH(Call)                  \
    EACH(CallQueue)             \
    EACH(Carrier)               \
    EACH(Cause)                 \
    EACH(Change)                \
    EACH(Channel)               \
    EACH(Character)             \
    EACH(Choice)                \
    EACH(Columns)               \
    EACH(Command)               \
    EACH(Console)               \
    EACH(Control)               \
    EACH(DeleteAppListItem)     \
    EACH(Disown)                \
    EACH(Endpoint)              \
    EACH(Entry)                 \
    EACH(Event)                 \
    EACH(EventSeam)             \
    EACH(EventSource)           \
    EACH(Failure)               \
    EACH(Fetcher)               \
    EACH(Formatter)             \
    EACH(Function)              \
    EACH(HeldCall)              \
    EACH(HeldCalls)             \
    EACH(InputError)            \
    EACH(InstalledApplications) \
    EACH(ItemBlock)             \
    EACH(ItemMaker)             \
    EACH(ItemsByHash)           \
    EACH(ItemText)              \
    EACH(JsonStyle)             \
    EACH(ListenerList)          \
    EACH(ListState)             \
    EACH(LossWatch)             \
    EACH(MainLoop)              \
    EACH(Middle)                \
    EACH(Nobody)                \
    EACH(Notification)          \
    EACH(NotificationQueue)     \
    EACH(Options)               \
    EACH(Outbox)                \
    EACH(Outcome)               \
    EACH(Output)                \
    EACH(OwnedFd)               \
    EACH(Pairing)               \
    EACH(Partner)               \
    EACH(PartnerTracker)        \
    EACH(Place)                 \
    EACH(Plan)                  \
    EACH(Releaser)              \
    EACH(RemoteAppListModel)    \
    EACH(RemoteBus)             \
    EACH(RemoteCalls)           \
    EACH(RemoteError)           \
    EACH(RemoteLink)            \
    EACH(RemoteReply)           \
    EACH(RemoteRoute)           \
    EACH(RemoteSession)         \
    EACH(Replica)               \
    EACH(ReplicaItem)           \
    EACH(SdReleaser)            \
    EACH(ServiceChannel)        \
    EACH(ServiceListener)       \
    EACH(ServiceOwner)          \
    EACH(Session)               \
    EACH(Share)                 \
    EACH(Sortable)              \
    EACH(Table)                 \
    EACH(TesselDbusRemote)      \
    EACH(TransportError)        \
    EACH(TransportLimits)       \
    EACH(UsageError)            \
    EACH(Watch)                 \
    EACH(Way)

// All of it inline, so that no definition clashes with another: what happens is up to the linker.
#define DEFINE_FOREIGN_TYPE(Name)                                                   \
    struct Name {                                                                   \
        explicit Name(int number) : m_number(number), m_text(#Name) {}              \
        virtual ~Name() { m_number = -1; }                                          \
        Name(const Name& other) : m_number(other.m_number), m_text(other.m_text) {} \
        Name& operator=(const Name&) = default;                                     \
        bool IsWhole() const { return m_text == #Name; }                            \
        char m_space[72] = {};                                                      \
        int m_number;                                                               \
        std::string m_text;                                                         \
    };
FOREIGN_TYPES(DEFINE_FOREIGN_TYPE)
#undef DEFINE_FOREIGN_TYPE

// Fills, copies and empties containers of each type; returns how many of the objects did not keep
// what was put into them.
int WrongAfterUse(int round);

// How often a function of the program's was called that has the name of one of the libraries'.
int& CallsOfForeignFunctions();
