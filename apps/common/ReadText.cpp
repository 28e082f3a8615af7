// SPDX-License-Identifier: MIT

// Reads from descriptors: a C++ stream may report a failed read as the end of the file.

#include "apps/common/ReadText.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <vector>

#include "bus/OwnedFd.h"

namespace applist {

namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10;

[[noreturn]] void Fail(const std::string& what, const std::string& next) {
    const std::error_code cause(errno, std::generic_category());
    throw InputError(what + ": " + cause.message() + "; " + next);
}

std::string ReadAll(int fd, const std::string& source, std::size_t limit) {
    std::string text;
    std::vector<char> piece(kPiece);
    for (;;) {
        const ssize_t size = read(fd, piece.data(), piece.size());
        if (size < 0) Fail("cannot read " + source, "give a file or a pipe that can be read");
        if (size == 0) return text;
        // Checked while reading: a device such as /dev/zero has no size and no end.
        if (static_cast<std::size_t>(size) > limit - text.size()) {
            throw InputError(source + " has more than " + std::to_string(limit) +
                             " bytes, the most that one message can carry; split it");
        }
        text.append(piece.data(), static_cast<std::size_t>(size));
    }
}

}  // namespace

std::string SourceName(const std::string& path) {
    if (path.empty()) return "\"\"";
    return path == "-" ? "standard input" : path;
}

std::string ReadText(const std::string& path, std::size_t limit) {
    // Standard input is not ours to close, so it does not get an owner.
    std::optional<OwnedFd> file;
    if (path != "-") {
        file.emplace(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (file->Get() < 0) {
            Fail("cannot open " + SourceName(path),
                 "name a file that exists and that you may read");
        }
    }
    return ReadAll(file ? file->Get() : STDIN_FILENO, SourceName(path), limit);
}

}  // namespace applist
