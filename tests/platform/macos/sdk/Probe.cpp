// Checks that this machine's C++ headers compile with our declarations of a Mac's C library.
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cassert>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <locale>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <variant>
#include <vector>

// Without Apple's configuration, newer libc++ headers use every function of their version. macOS 14 lacks some of
// these functions, so linking would fail, although a build with Apple's headers does not use them.
#if _LIBCPP_VERSION >= 15000
#error "libc++ 14 is required: newer headers use functions that macOS 14 lacks"
#endif
