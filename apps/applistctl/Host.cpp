#include "apps/applistctl/Host.h"

namespace {

bool StandsAsItIs(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '_' || c == '/' || c == '.';
}

// In an address every other byte is written %NN; a comma would begin the next argument.
std::string Escaped(const std::string& value) {
    static const char kHex[] = "0123456789abcdef";
    std::string escaped;
    for (const char c : value) {
        if (StandsAsItIs(c)) {
            escaped += c;
            continue;
        }
        escaped += '%';
        escaped += kHex[static_cast<unsigned char>(c) >> 4];
        escaped += kHex[static_cast<unsigned char>(c) & 0xF];
    }
    return escaped;
}

}  // namespace

// No X11, no terminal over there. What follows -- is no option, whatever a host is called.
std::string RemoteBusAddress(const std::string& host, RemoteBus bus) {
    std::string address = "unixexec:path=ssh,argv1=-xT,argv2=--,argv3=" + Escaped(host) +
                          ",argv4=systemd-stdio-bridge";
    if (bus == RemoteBus::Session) address += ",argv5=--user";
    return address;
}
