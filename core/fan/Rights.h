#pragma once

namespace kelo {

class Rights {
public:
    Rights() = default;
    Rights(const Rights&) = delete;
    Rights& operator=(const Rights&) = delete;
    virtual ~Rights() = default;

    /// Whether the process may control the fans. Queries the system on every call.
    virtual bool isRoot() = 0;
};

} // namespace kelo
