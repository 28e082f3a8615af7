// SPDX-License-Identifier: MIT

#include <gio/gio.h>

#include <stdexcept>

#include "Rows.h"
#include "RowsNames.h"

namespace bench {

namespace {

constexpr int kCallTimeoutMs = 20000;

const char kIntrospection[] =
    "<node><interface name='org.tessel.bench.Rows1'><method name='GetItems'>"
    "<arg type='a(ss)' name='items' direction='out'/></method></interface></node>";

template <class T, void (*Release)(T*)>
struct Releaser {
    void operator()(T* object) const { Release(object); }
};
void Unref(GDBusConnection* connection) {
    g_object_unref(connection);
}
using UniqueConnection = std::unique_ptr<GDBusConnection, Releaser<GDBusConnection, Unref>>;
using UniqueVariant = std::unique_ptr<GVariant, Releaser<GVariant, g_variant_unref>>;
using UniqueIter = std::unique_ptr<GVariantIter, Releaser<GVariantIter, g_variant_iter_free>>;

// Takes `error` over. GLib reports a failure through it, and by returning nothing.
template <class Result>
Result Check(Result result, GError* error) {
    if (error == nullptr) return result;
    const std::string text = error->message;
    g_error_free(error);
    throw std::runtime_error(text);
}

UniqueConnection Connect(const std::string& address) {
    GError* error = nullptr;
    GDBusConnection* const connection = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    return UniqueConnection(Check(connection, error));
}

UniqueVariant Call(GDBusConnection* connection, const char* name, const char* path,
                   const char* interface, const char* member, GVariant* arguments,
                   const char* type) {
    GError* error = nullptr;
    GVariant* const reply = g_dbus_connection_call_sync(
        connection, name, path, interface, member, arguments, G_VARIANT_TYPE(type),
        G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr, &error);
    return UniqueVariant(Check(reply, error));
}

void OnGetItems(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                GDBusMethodInvocation* invocation, void* userdata) {
    GVariantBuilder rows;
    g_variant_builder_init(&rows, G_VARIANT_TYPE("a(ss)"));
    for (const PlainItem& item : static_cast<TwoLists*>(userdata)->Next()) {
        g_variant_builder_add(&rows, "(ss)", item.visibleName.c_str(), item.uniqueId.c_str());
    }
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(a(ss))", &rows));
}

void Export(GDBusConnection* connection, TwoLists& lists) {
    GError* error = nullptr;
    GDBusNodeInfo* const node = Check(g_dbus_node_info_new_for_xml(kIntrospection, &error), error);
    static const GDBusInterfaceVTable vtable = {OnGetItems, nullptr, nullptr, {}};
    const guint id = g_dbus_connection_register_object(connection, kRowsPath, node->interfaces[0],
                                                       &vtable, &lists, nullptr, &error);
    g_dbus_node_info_unref(node);
    Check(id, error);
}

}  // namespace

void RunGDBusRows(const std::string& address, std::size_t count, int readyFd) {
    TwoLists lists(count);
    const UniqueConnection connection = Connect(address);
    Export(connection.get(), lists);
    Call(connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
         "RequestName", g_variant_new("(su)", kGDBusRows, 0U), "(u)");
    SayReady(readyFd);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}

struct GDBusReader::Connection {
    UniqueConnection connection;
};

GDBusReader::GDBusReader(const std::string& address)
    : m_connection(std::make_unique<Connection>(Connection{Connect(address)})) {}

GDBusReader::~GDBusReader() = default;

void GDBusReader::Read(std::vector<PlainItem>& items) {
    const UniqueVariant reply = Call(m_connection->connection.get(), kGDBusRows, kRowsPath,
                                     kRowsInterface, "GetItems", nullptr, "(a(ss))");
    GVariantIter* made = nullptr;
    g_variant_get(reply.get(), "(a(ss))", &made);
    const UniqueIter rows(made);
    items.clear();
    const char* name = nullptr;
    const char* id = nullptr;
    while (g_variant_iter_next(rows.get(), "(&s&s)", &name, &id)) items.push_back({name, id});
}

}  // namespace bench
