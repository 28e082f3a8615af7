// What an endpoint throws when it cannot do what it was built for. The text is one line that names
// the bus or the endpoint, the cause, and what to do.

#pragma once

#include <stdexcept>

class TransportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
