// SPDX-License-Identifier: MIT

#include "support/PrivateBus.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "support/JournalStandIn.h"

namespace {

const char kSessionConfiguration[] = "/usr/share/dbus-1/session.conf";

std::runtime_error Failure(const std::string& what) {
    return std::runtime_error("private bus: " + what + ": " + std::strerror(errno));
}

struct sockaddr_un AddressOf(const std::string& path) {
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

bool Bind(int fd, const std::string& path) {
    const struct sockaddr_un address = AddressOf(path);
    return bind(fd, reinterpret_cast<const struct sockaddr*>(&address), sizeof(address)) == 0;
}

// The socket is there before its bus is, so that nobody has to wait for the bus to come up: a
// client that is early waits in the backlog.
int ListenOn(const std::string& path) {
    unlink(path.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || !Bind(fd, path) || chmod(path.c_str(), 0777) != 0 || listen(fd, 512) != 0) {
        throw Failure("listening on " + path);
    }
    return fd;
}

// ---- In the child: no way back, so a failure is said on stderr and ends the process
// --------------

[[noreturn]] void Die(const char* what) {
    std::fprintf(stderr, "private bus: %s: %s\n", what, std::strerror(errno));
    _exit(127);
}

void DieWithParent(pid_t parent) {
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) Die("PR_SET_PDEATHSIG");
    if (getppid() != parent) _exit(127);
}

// Hands the listening socket over in the way that both bus programs understand.
[[noreturn]] void Exec(int listener, std::vector<std::string> words) {
    if (listener == 3) {
        if (fcntl(listener, F_SETFD, 0) != 0) Die("handing the socket over");
    } else if (dup2(listener, 3) < 0) {
        Die("handing the socket over");
    }
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    setenv("LISTEN_FDS", "1", 1);
    setenv("LISTEN_FDNAMES", "dbus.socket", 1);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(&word[0]);
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    Die(arguments[0]);
}

// Reads what the broker tells its journal and prints the messages: a journal that is full would
// stop it.
[[noreturn]] void DrainJournal(int journal) {
    char entry[65536];
    for (;;) {
        const ssize_t size = recv(journal, entry, sizeof(entry) - 1, 0);
        if (size < 0 && errno != EINTR) Die("the journal");
        if (size <= 0) continue;
        entry[size] = '\0';
        const char* message = std::strstr(entry, "MESSAGE=");
        if (message != nullptr) {
            std::fprintf(stderr, "%.*s\n", static_cast<int>(std::strcspn(message, "\n")), message);
        }
    }
}

[[noreturn]] void RunBroker(int listener, const std::string& configuration) {
    const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (!EnterNamespaceWithJournal(journal)) Die("a stand-in for the journal");
    const pid_t parent = getpid();
    const pid_t launcher = fork();
    if (launcher < 0) Die("fork");
    if (launcher == 0) {
        DieWithParent(parent);
        Exec(listener, {"dbus-broker-launch", "--scope", "user", "--config-file", configuration});
    }
    // Nothing else of the test's may stay open here: who waits for the end of a pipe, which the
    // test has closed, would wait for the bus's end.
    constexpr int kJournal = 3;
    if (dup2(journal, kJournal) < 0 || close_range(kJournal + 1, ~0U, 0) != 0) Die("the journal");
    DrainJournal(kJournal);
}

[[noreturn]] void RunDaemon(int listener, const std::string& configuration) {
    Exec(listener, {"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
                    "--address=systemd:", "--config-file=" + configuration});
}

// ---- The processes of a group -------------------------------------------------------------------

// The state letter of a process that belongs to `group`; a blank for any other.
char StateInGroup(const char* pid, pid_t group) {
    std::ifstream file(std::string("/proc/") + pid + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name = line.rfind(')');  // the name itself may hold anything
    if (name == std::string::npos) return ' ';
    std::istringstream fields(line.substr(name + 1));
    char state = ' ';
    pid_t parent = 0;
    pid_t its = 0;
    fields >> state >> parent >> its;
    return its == group ? state : ' ';
}

// Whether each process of `group` is in one of `states`.
bool EveryProcessIs(const char* states, pid_t group) {
    DIR* const processes = opendir("/proc");
    if (processes == nullptr) throw Failure("/proc");
    bool stands = true;
    while (const struct dirent* entry = readdir(processes)) {
        if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
        const char state = StateInGroup(entry->d_name, group);
        if (std::strchr(states, state) == nullptr) stands = false;
    }
    closedir(processes);
    return stands;
}

void WaitUntilEveryProcessIs(const char* states, pid_t group) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!EveryProcessIs(states, group)) {
        if (std::chrono::steady_clock::now() > deadline)
            throw Failure("the bus does not get there");
        sched_yield();
    }
}

}  // namespace

std::vector<BusVariety> EveryBus() {
    return {{BusProgram::Daemon, BusLimits::Session},
            {BusProgram::Daemon, BusLimits::BuiltIn},
            {BusProgram::Broker, BusLimits::Session},
            {BusProgram::Broker, BusLimits::BuiltIn}};
}

std::vector<BusVariety> EveryBusWithChannels() {
    return {{BusProgram::Daemon, BusLimits::BuiltIn, true},
            {BusProgram::Broker, BusLimits::BuiltIn, true}};
}

std::string NameOf(const BusVariety& variety) {
    return std::string(variety.program == BusProgram::Daemon ? "DbusDaemon" : "DbusBroker") +
           (variety.limits == BusLimits::Session ? "WithSessionLimits" : "WithBuiltInLimits") +
           (variety.withChannels ? "AndChannels" : "");
}

std::ostream& operator<<(std::ostream& out, const BusVariety& variety) {
    return out << NameOf(variety);
}

PrivateBus::PrivateBus(const BusVariety& variety) : m_program(variety.program) {
    const std::string allowAll =
        "<policy context=\"default\"><allow send_destination=\"*\"/>"
        "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy>";
    Prepare(variety.limits == BusLimits::Session ? std::string() : allowAll);
}

PrivateBus::PrivateBus(BusProgram program, const std::string& policies) : m_program(program) {
    Prepare(policies);
}

PrivateBus::~PrivateBus() {
    Kill();
    std::error_code ignored;  // what is left of a test's folder is no reason to fail it
    std::filesystem::remove_all(m_folder, ignored);
}

// Without policies it is the session bus's own configuration, limits included.
void PrivateBus::Prepare(const std::string& policies) {
    char folder[] = "/tmp/applist-bus-XXXXXX";
    if (mkdtemp(folder) == nullptr || chmod(folder, 0755) != 0) throw Failure(folder);
    m_folder = folder;
    m_address = "unix:path=" + PathOf("bus");
    m_configuration = kSessionConfiguration;
    if (!policies.empty()) {
        m_configuration = PathOf("configuration");
        WriteConfiguration(policies);
    }
    // What is left of a bus whose first process was killed becomes our child, to be waited for; or
    // the child of the machine's first process, under an emulator that does not know this call.
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0 && errno != EINVAL) {
        throw Failure("PR_SET_CHILD_SUBREAPER");
    }
    Start();
}

void PrivateBus::WriteConfiguration(const std::string& policies) const {
    std::ofstream(m_configuration)
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        << "<busconfig><listen>systemd:</listen><auth>EXTERNAL</auth>" << policies
        << "</busconfig>\n";
}

void PrivateBus::SetPolicies(const std::string& policies) {
    WriteConfiguration(policies);
    const std::string call = "busctl --address=" + m_address +
                             " call org.freedesktop.DBus /org/freedesktop/DBus"
                             " org.freedesktop.DBus ReloadConfig";
    if (std::system(call.c_str()) != 0) throw Failure("new policies");
}

void PrivateBus::Start() {
    const int listener = ListenOn(PathOf("bus"));
    const int output = open(PathOf("output").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        DieWithParent(parent);
        setpgid(0, 0);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        setenv("XDG_RUNTIME_DIR", m_folder.c_str(), 1);
        if (m_program == BusProgram::Broker) RunBroker(listener, m_configuration);
        RunDaemon(listener, m_configuration);
    }
    close(listener);
    close(output);
    if (child < 0) throw Failure("fork");
    setpgid(child, child);  // here too: whoever comes second finds it done
    m_group = child;
}

void PrivateBus::Kill() {
    if (m_group < 0) return;
    kill(-m_group, SIGKILL);
    while (waitpid(-m_group, nullptr, 0) > 0 || errno == EINTR) continue;
    WaitUntilEveryProcessIs(" Z", m_group);
    m_group = -1;
}

void PrivateBus::Stop() {
    if (kill(-m_group, SIGSTOP) != 0) throw Failure("SIGSTOP");
    WaitUntilEveryProcessIs(" TtZ", m_group);
}

void PrivateBus::Continue() {
    if (kill(-m_group, SIGCONT) != 0) throw Failure("SIGCONT");
}

// Whoever is sent something is awake at once, and sleeps only when there is nothing more to do.
void PrivateBus::WaitUntilIdle() {
    WaitUntilEveryProcessIs(" SZ", m_group);
}

std::string PrivateBus::Output() const {
    std::ostringstream text;
    text << std::ifstream(PathOf("output")).rdbuf();
    return text.str();
}
