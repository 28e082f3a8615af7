// SPDX-License-Identifier: MIT

// One side of the connection as a process of its own, for tests that stop, kill or wait for it.
// Called with "service", "partner" or "reorderer" and the bus's address, it answers each line on
// stdin with one line on stdout.

#include <sys/epoll.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "applist/LocalAppListModel.h"
#include "bus/BusSelection.h"
#include "bus/SdBus.h"
#include "common/Guarded.h"
#include "partner/EditableList.h"
#include "partner/QuietLog.h"
#include "partner/RemoteAppListModel.h"
#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"

using applist::Guarded;
using applist::RemoteAppListModel;
using applist::RemoteError;
using applist::SelectBusAddress;
using applist::UniqueMessage;

namespace {

void Say(const std::string& line) {
    std::cout << line << std::endl;
}

class Side {
public:
    virtual ~Side() = default;
    virtual void Do(const std::string& command, std::istream& arguments) = 0;
};

class Service : public Side {
public:
    void Do(const std::string& command, std::istream& arguments) override {
        std::size_t count = 0;
        std::string id;
        if (command == "add") {
            arguments >> id;
            m_list.Add("Name of " + id, id);
        } else if (command == "select") {
            arguments >> id;
            m_list.Select(id);
        } else if (command == "rename") {
            arguments >> id;
            m_list.Rename(id, "New name of " + id);
        } else if (command == "fill") {
            arguments >> count;
            m_list.Fill(count);
            m_list.TellOfNothing();
        } else if (command == "edit") {
            arguments >> count;
            for (; count > 0; --count) Edit(count);
        } else if (command == "tell") {
            arguments >> count;
            for (; count > 0; --count) m_list.TellOfNothing();
        } else if (command == "reads") {
            return Say(std::to_string(m_list.m_reads));
        } else if (command != "content") {
            throw std::logic_error(command);
        }
        Say(DigestOf(m_list));
    }

private:
    void Edit(std::size_t number) {
        const std::string id = "edit" + std::to_string(number % 7);
        const auto items = m_list.GetAllItems();
        for (std::size_t at = 0; at < items.size(); ++at) {
            if (items[at]->GetUnigueId() == id) return m_list.RemoveAt(at);
        }
        m_list.Insert(items.size() / 2, "Edit " + std::to_string(number), id);
    }

    EditableList m_list;
    LocalAppListModel m_service{&m_list};
};

class Partner : public Side,
                public ItemChangeListener,
                public ItemSelectionListener,
                public applist::ServiceListener {
public:
    Partner() {
        m_model.AddItemChangeListener(this);
        m_model.AddItemSelectionListener(this);
        m_model.AddServiceListener(this);
    }

    void Do(const std::string& command, std::istream& arguments) override {
        if (command == "write") {
            std::size_t count = 0;
            arguments >> count;
            for (; count > 0; --count) {
                RemoteAppListItem item("Written", "w" + std::to_string(count));
                m_model.AddItemAtEnd(&item);
            }
            Say("written");
        } else if (command == "clear") {
            m_model.RemoveAllItems();
            Say("written");
        } else if (command == "timeout") {
            int time = 0;
            arguments >> time;
            m_model.SetTimeout(std::chrono::milliseconds(time));
            Say("set");
        } else if (command == "join") {
            m_joins = true;
            ServiceChanged(&m_model);
        } else if (command == "sync") {
            Synchronize();
        } else if (command == "await") {
            std::getline(arguments >> std::ws, m_awaited);
            LookWhetherItIsShown();
        } else if (command == "content") {
            Say(DigestOf(m_model));
        } else if (command == "way") {
            Say(NewsLogged("over a direct channel") > 0 ? "a channel" : "the bus");
        } else if (command == "use") {
            UseEverything();
        } else {
            throw std::logic_error(command);
        }
    }

    void ItemChanged(AppListModel*) override { LookWhetherItIsShown(); }
    void ItemSelected(AppListModel*) override { LookWhetherItIsShown(); }
    void ServiceChanged(RemoteAppListModel* model) override {
        if (!m_joins || !model->IsServiceThere()) return;
        m_joins = false;
        Say("joined");
    }

private:
    void Synchronize() {
        try {
            m_model.Synchronize();
            Say("synchronized");
        } catch (const RemoteError& error) {
            Say(error.what());
        }
    }

    // Each operation that there is, with what is read and written in messages and in descriptors.
    void UseEverything() {
        RemoteAppListItem maps("Maps", "maps");
        RemoteAppListItem large(std::string(100000, 'l'), "large");
        RemoteAppListItem small("Small", "small");
        m_model.AddItemAtEnd(&maps);
        m_model.AddItems({&maps, &large});
        m_model.SetSelection(&maps);
        m_model.SetClicked(&maps);
        m_model.Synchronize();
        m_model.ModifyItem(&large, &small);
        m_model.RemoveItem(&maps);
        m_model.Synchronize();
        m_remote = std::make_unique<BareRemote>();
        std::vector<char> data = BareRemote::Question();
        m_remote->SendMessage(data);
        m_remote->SendNotification(data);
        m_remote->CallLater(std::chrono::milliseconds(1), [this] {
            m_remote.reset();
            Say("used");
        });
    }

    void LookWhetherItIsShown() {
        if (m_awaited.empty() || m_awaited != DigestOf(m_model)) return;
        m_awaited.clear();
        Say("shown");
    }

    RemoteAppListModel m_model;
    std::unique_ptr<BareRemote> m_remote;
    std::string m_awaited;
    bool m_joins = false;  // says so when the service is there
};

// A service that lets a partner, which synchronizes at once, have its answer only when it has read
// the list twice: it tells its count while the answer is awaited, and answers then.
class Reorderer : public Side {
public:
    explicit Reorderer(const std::string& address) : m_hostile(address) {
        m_hostile.m_answerSerial = [this](sd_bus_message* call) {
            if (m_selections >= 2)
                return sd_bus_reply_method_return(call, "v", "t", std::uint64_t{0});
            m_count.reset(sd_bus_message_ref(call));
            return 0;
        };
        m_hostile.m_answerList = [this](sd_bus_message* call) {
            const char* const list = ++m_lists == 1 ? "First\tfirst\n" : "Second\tsecond\n";
            return HostileService::ReplyText(call, list);
        };
        m_hostile.m_answerSelection = [this](sd_bus_message* call) { return Selection(call); };
    }

    void Do(const std::string& command, std::istream&) override { throw std::logic_error(command); }

private:
    int Selection(sd_bus_message* call) {
        ++m_selections;
        if (m_selections == 2) {
            m_awaited.reset(sd_bus_message_ref(call));
            return sd_bus_reply_method_return(m_count.get(), "v", "t", std::uint64_t{0});
        }
        const int result = HostileService::ReplyText(call, "\t\n");
        if (m_selections == 3) HostileService::ReplyText(m_awaited.get(), "\t\n");
        return result;
    }

    HostileService m_hostile;
    UniqueMessage m_count;
    UniqueMessage m_awaited;
    int m_lists = 0;
    int m_selections = 0;
};

// Reads what has come in, and does what each whole line says.
int OnInput(sd_event_source* source, int fd, std::uint32_t, void* userdata) {
    static std::string pending;
    char bytes[4096];
    const ssize_t size = read(fd, bytes, sizeof(bytes));
    if (size <= 0) return sd_event_exit(sd_event_source_get_event(source), 0);
    pending.append(bytes, static_cast<std::size_t>(size));
    for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
        std::istringstream line(pending.substr(0, end));
        pending.erase(0, end + 1);
        std::string command;
        line >> command;
        if (!Guarded("doing a command", [&] { static_cast<Side*>(userdata)->Do(command, line); })) {
            return sd_event_exit(sd_event_source_get_event(source), 1);
        }
    }
    return 0;
}

int Run(const std::string& which, const std::string& address) {
    sd_event* loop = nullptr;
    if (sd_event_default(&loop) < 0) return EXIT_FAILURE;
    std::unique_ptr<Side> side;
    if (which == "service") {
        side = std::make_unique<Service>();
    } else if (which == "partner") {
        side = std::make_unique<Partner>();
    } else {
        side = std::make_unique<Reorderer>(address);
    }
    if (sd_event_add_io(loop, nullptr, STDIN_FILENO, EPOLLIN, OnInput, side.get()) < 0) {
        return EXIT_FAILURE;
    }
    Say("ready");
    const int result = sd_event_loop(loop);
    side.reset();
    sd_event_unref(loop);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return EXIT_FAILURE;
    try {
        SelectBusAddress(argv[2]);
        return Run(argv[1], argv[2]);
    } catch (const std::exception& error) {
        Say(error.what());
        return EXIT_FAILURE;
    }
}
