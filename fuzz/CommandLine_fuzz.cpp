// SPDX-License-Identifier: MIT

// Words on the command lines of both programs: what is taken is what was typed and makes sense
// together, and everything else is refused in words.

#include <algorithm>
#include <cctype>
#include <iostream>
#include <optional>
#include <streambuf>
#include <string>
#include <vector>

#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Options.h"
#include "apps/applistd/Options.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"

using applist::fuzz::Check;
using applist::fuzz::Input;
using applist::fuzz::kFaultIsPlanted;
using std::string;
namespace ctl = applist::ctl;

namespace {

using Words = std::vector<string>;

// Keeps the helps, of which there are many, from standard output.
class Discard : public std::streambuf {
public:
    Discard() : m_before(std::cout.rdbuf(this)) {}
    ~Discard() override { std::cout.rdbuf(m_before); }

private:
    int_type overflow(int_type byte) override { return traits_type::not_eof(byte); }
    std::streamsize xsputn(const char*, std::streamsize size) override { return size; }

    std::streambuf* m_before;
};

// As a word of its own, or after the = of an option.
bool WasTyped(const Words& words, const string& value) {
    return value.empty() || std::any_of(words.begin(), words.end(), [&](const string& word) {
               const std::size_t at = word.find('=');
               const bool isOption = word[0] == '-' && at != string::npos;
               return word == value || (isOption && word.compare(at + 1, string::npos, value) == 0);
           });
}

// Planted: capital letters become small ones.
string Spoilt(string value) {
    const auto lower = [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); };
    if (kFaultIsPlanted) std::transform(value.begin(), value.end(), value.begin(), lower);
    return value;
}

bool IsOneOf(const std::vector<string>& known, const string& value) {
    return std::find(known.begin(), known.end(), value) != known.end();
}

void CheckTaken(const Words& words, const ctl::Options& options) {
    Check(IsOneOf(words, options.command), "the command was typed");
    for (const string& value :
         {options.name, options.function, options.payload.value_or(""), Spoilt(options.id),
          Spoilt(options.oldId), Spoilt(options.host), Spoilt(options.address)}) {
        Check(WasTyped(words, value), "names and ids are taken as they are");
    }
    Check(options.file == "-" || WasTyped(words, Spoilt(options.file)), "so are files");
    Check(IsOneOf({"", "auto", "short", "pretty"}, options.json), "a style that there is");
    const std::chrono::milliseconds day = std::chrono::hours(24);
    Check(options.timeout.count() >= 1 && options.timeout <= day, "a timeout ends, and is one");
    const int buses = int{options.session} + int{options.system} + int{!options.address.empty()} +
                      int{!options.host.empty() && !options.session && !options.system};
    Check(buses <= 1, "one bus at most");
}

void CheckTool(const Words& words, const std::vector<const char*>& arguments) {
    try {
        const auto options =
            ctl::ParseOptions(static_cast<int>(arguments.size()), arguments.data());
        if (options) CheckTaken(words, *options);
    } catch (const ctl::Failure& failure) {
        Check(failure.Status() == ctl::kWrongUsage, "refused as wrong usage");
        Check(string(failure.what()).find("; ") != string::npos, "with what to do next");
    }
}

void CheckDaemon(const Words& words, const std::vector<const char*>& arguments) {
    try {
        const auto options =
            applist::daemon::ParseOptions(static_cast<int>(arguments.size()), arguments.data());
        if (!options) return;
        Check(WasTyped(words, options->itemsFile), "a file is taken as it is");
        Check(WasTyped(words, options->address), "so is an address");
        Check(!options->interactive || options->itemsFile != "-", "one reader of standard input");
        Check(!options->session || !options->system, "one bus at most");
    } catch (const applist::daemon::UsageError& error) {
        Check(string(error.what()).find("; ") != string::npos, "with what to do next");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Discard discard;
    Input input(data, size);
    Words words;
    while (!input.IsEmpty()) words.push_back(input.CString());
    std::vector<const char*> arguments = {"program"};
    for (const string& word : words) arguments.push_back(word.c_str());
    CheckTool(words, arguments);
    CheckDaemon(words, arguments);
    return 0;
}
