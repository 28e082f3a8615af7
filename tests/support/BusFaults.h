// An error of sd_bus_process where the code under test calls it. The loop's own calls go on.
//
// Threads: one. Lifetime: it fails as long as the object lives.

#pragma once

class FailingBusProcess {
public:
    // From now on it fails with `error`, a negative errno.
    explicit FailingBusProcess(int error);
    ~FailingBusProcess();
    FailingBusProcess(const FailingBusProcess&) = delete;
    FailingBusProcess& operator=(const FailingBusProcess&) = delete;
};
