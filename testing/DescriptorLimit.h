#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace kelo {

/// During its lifetime, this process gets no descriptor whose number is `limit` or above.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit = 0) {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit lowered{.rlim_cur = limit, .rlim_max = before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }

private:
    rlimit before_{};
};

} // namespace kelo
