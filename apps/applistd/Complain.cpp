#include "apps/applistd/Complain.h"

#include <unistd.h>

#include "common/PrintableText.h"
#include "platform/WithoutWaiting.h"

namespace applist::daemon {

void Complain(const std::string& text) {
    WriteWithoutWaiting(STDERR_FILENO, "applistd: " + PrintableText(text) + '\n');
}

}  // namespace applist::daemon
