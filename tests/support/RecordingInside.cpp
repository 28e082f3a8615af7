// SPDX-License-Identifier: MIT

#include "support/RecordingInside.h"

namespace {

template <class Tag, typename Tag::Type MEMBER>
struct Expose {
    friend typename Tag::Type MemberOf(Tag) { return MEMBER; }
};

struct Registry {
    using Type = std::vector<RemoteAppListItem*> LocalAppListModel::*;
    friend Type MemberOf(Registry);
};

struct WrappedModel {
    using Type = AppListModel* LocalAppListModel::*;
    friend Type MemberOf(WrappedModel);
};

struct Ipc {
    using Type = IPCApplist<TesselDbusLocal, LocalAppListModel> LocalAppListModel::*;
    friend Type MemberOf(Ipc);
};

struct Remove {
    using Type = void (LocalAppListModel::*)(RemoteAppListItem);
    friend Type MemberOf(Remove);
};

struct Modify {
    using Type = void (LocalAppListModel::*)(RemoteAppListItem, RemoteAppListItem);
    friend Type MemberOf(Modify);
};

template struct Expose<Registry, &LocalAppListModel::m_items>;
template struct Expose<WrappedModel, &LocalAppListModel::m_appList>;
template struct Expose<Ipc, &LocalAppListModel::m_IPC>;
template struct Expose<Remove, &LocalAppListModel::PrivateRemoveItem>;
template struct Expose<Modify, &LocalAppListModel::PrivateModifyItem>;

}  // namespace

namespace recording {

std::vector<RemoteAppListItem*>& RegistryOf(LocalAppListModel& service) {
    return service.*MemberOf(Registry());
}

AppListModel*& WrappedModelOf(LocalAppListModel& service) {
    return service.*MemberOf(WrappedModel());
}

IPCApplist<TesselDbusLocal, LocalAppListModel>& ChannelOf(LocalAppListModel& service) {
    return service.*MemberOf(Ipc());
}

void RemoveFromRegistry(LocalAppListModel& service, RemoteAppListItem item) {
    (service.*MemberOf(Remove()))(item);
}

void ReplaceInRegistry(LocalAppListModel& service, RemoteAppListItem oldItem,
                       RemoteAppListItem newItem) {
    (service.*MemberOf(Modify()))(oldItem, newItem);
}

}  // namespace recording
