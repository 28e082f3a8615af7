// SPDX-License-Identifier: MIT

#include "remote/RemoteErrors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

using applist::RemoteError;
using applist::RemoteErrors;

namespace {

const char kBusErrors[] = "org.freedesktop.DBus.Error.";

std::vector<RemoteError> EveryError() {
    const RemoteErrors errors("Applist");
    std::vector<RemoteError> all{errors.NoService("the session bus"),
                                 errors.NoAnswer(),
                                 errors.OutcomeUnknown(),
                                 errors.NotUnderstood(),
                                 errors.TooMuchWaits(),
                                 errors.NoMemory(),
                                 errors.NotSent(EMSGSIZE),
                                 errors.NotSent(ENOMEM),
                                 errors.ReplyTooLarge(),
                                 errors.WaitingInsideListener(),
                                 errors.DestroyedWhileWaiting()};
    for (const char* name : {"AccessDenied", "ServiceUnknown", "NameHasNoOwner", "NoReply",
                             "Disconnected", "LimitsExceeded", "Failed"}) {
        all.push_back(errors.FromBus(std::string(kBusErrors) + name, "said so"));
    }
    return all;
}

}  // namespace

TEST(RemoteErrorTexts, SayWhatHappenedAndThenWhatToDoInOneSentence) {
    for (const RemoteError& error : EveryError()) {
        const std::string text = error.what();
        EXPECT_EQ(0u, text.find("Applist: ")) << text;
        const std::size_t advice = text.find("; ");
        EXPECT_NE(std::string::npos, advice) << text;
        EXPECT_EQ(advice, text.rfind("; ")) << text;
        EXPECT_EQ(std::string::npos, text.find(". ")) << text;
        EXPECT_NE('.', text.back()) << text;
    }
}

TEST(RemoteErrorTexts, ShowWhatTheOtherEndSaidInPrintableForm) {
    const RemoteErrors errors("Applist");

    const std::string text = errors.FromBus("org.example.Odd", "bell \a rings").what();

    EXPECT_EQ(
        "Applist: the service answered with an error: org.example.Odd: bell \\x07 rings; "
        "its log may say more",
        text);
}
