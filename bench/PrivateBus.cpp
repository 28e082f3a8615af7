// SPDX-License-Identifier: MIT

#include "PrivateBus.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace bench {

namespace {

// The address that the daemon prints when it listens is the byte that says so.
void RunDaemon(const std::string& address, int readyFd) {
    const std::string listen = "--address=" + address;
    const std::string print = "--print-address=" + std::to_string(readyFd);
    execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
           listen.c_str(), print.c_str(), static_cast<char*>(nullptr));
    throw std::runtime_error("cannot run dbus-daemon; install the package of that name");
}

}  // namespace

TemporaryFolder::TemporaryFolder()
    : m_path(std::filesystem::temp_directory_path() / "applist-bench-XXXXXX") {
    if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("cannot make " + m_path);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

PrivateBus::PrivateBus()
    : m_address("unix:path=" + m_folder.Path() + "/bus"),
      m_daemon([this](int readyFd) { RunDaemon(m_address, readyFd); }) {}

}  // namespace bench
