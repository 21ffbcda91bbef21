// Tests the service's socket against other users and processes, and against clients that change after they were
// admitted.

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "tests/platform/linux/socket/SocketFixture.h"
#include "tests/platform/posix/Ends.h"

namespace kelo {
namespace {

/// Runs `work` in a separate process that exits with the status that `work` returns. The destructor kills the process
/// if it is still running.
class OtherProcess {
public:
    explicit OtherProcess(const std::function<int()>& work) : number_(fork()) {
        if (number_ == 0)
            _exit(work());
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;
    ~OtherProcess() {
        if (number_ > 0)
            end();
    }
    /// Waits until the process ends, and returns its exit status.
    int wait() {
        int status = 0;
        waitpid(std::exchange(number_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void end() {
        kill(number_, SIGKILL);
        wait();
    }

private:
    pid_t number_;
};

class SocketAccess : public SocketFixture {
protected:
    static auto versionRequest(std::uint64_t number) {
        return request_records::encode(number, requests::HelperVersion{});
    }
};

TEST_F(SocketAccess, LimitsTheConnectionsOfOneProcess) {
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < static_cast<std::size_t>(ConnectionLimits().ofProcess); ++i) {
        clients.push_back(std::make_unique<RawClient>(folder.get()));
        ASSERT_EQ(clients.back()->version(1), 6);
    }
    EXPECT_TRUE(RawClient(folder.get()).isCutOff());
    EXPECT_EQ(refusals, 1);
    OtherProcess other([this] { return RawClient(folder.get()).version(1) == 6 ? 0 : 1; });
    EXPECT_EQ(other.wait(), 0);
    clients.pop_back(); // its connection becomes available again
    EXPECT_TRUE(eventually([&] { return RawClient(folder.get()).version(1) == 6; }));
}

TEST_F(SocketAccess, RefusesRequestsFromAnotherProcess) {
    RawClient client(folder.get());
    EXPECT_EQ(client.version(1), 6);
    OtherProcess heir([&] {
        client.send(versionRequest(2)); // on the inherited socket
        return 0;
    });
    EXPECT_EQ(heir.wait(), 0);
    EXPECT_TRUE(client.isCutOff());
    EXPECT_EQ(helper->versions, 1);
}

TEST_F(SocketAccess, CutsOffAProcessThatRunsAnotherExecutable) {
    std::string request = "printf '";
    for (const auto byte : versionRequest(2)) {
        char octal[8];
        std::snprintf(octal, sizeof octal, "\\%03o", byte);
        request += octal;
    }
    request += "' >&9; exec sleep 60";
    OtherProcess chameleon([&] {
        RawClient client(folder.get());
        if (client.version(1) != 6 || dup2(client.descriptor(), 9) != 9 ||
            fcntl(9, F_SETFD, 0) != 0) // stays open in the executable that it runs next
            return 1;
        execl("/bin/sh", "sh", "-c", request.c_str(), static_cast<char*>(nullptr));
        return 2;
    });
    EXPECT_TRUE(eventually([&] { return admission.ended() == 1; }));
    EXPECT_EQ(helper->versions, 1);
}

TEST_F(SocketAccess, AConnectionEndsWithItsProcessEvenIfAChildInheritsTheSocket) {
    auto ends = pipeEnds();
    OtherProcess parent([&] {
        RawClient client(folder.get());
        if (client.version(1) != 6)
            return 1;
        if (fork() == 0) { // inherits the socket, and runs until the test ends
            ends.writing = {};
            char byte = 0;
            _exit(static_cast<int>(read(ends.reading.get(), &byte, 1)));
        }
        return 0;
    });
    EXPECT_EQ(parent.wait(), 0);
    EXPECT_TRUE(eventually([&] { return admission.ended() == 1; }));
}

TEST_F(SocketAccess, PerformsRequestsSentBeforeTheProcessEnded) {
    std::mutex pause; // keeps the listener's thread busy until the process has ended
    std::unique_lock busy(pause);
    std::atomic<int> asked = 0;
    helper->onVersionRequest([&] {
        if (++asked > 1)
            const std::lock_guard wait(pause);
    });
    const auto ends = pipeEnds();
    OtherProcess other([&] {
        RawClient client(folder.get());
        const bool isAdmitted = client.version(1) == 6;
        char byte = 0;
        if (!isAdmitted || read(ends.reading.get(), &byte, 1) != 1)
            return 1;
        client.request(2, requests::HandBack{});
        return 0;
    });
    ASSERT_TRUE(eventually([&] { return asked == 1; }));
    RawClient client(folder.get());
    client.request(1, requests::HelperVersion{});
    ASSERT_TRUE(eventually([&] { return asked == 2; }));
    ASSERT_EQ(write(ends.writing.get(), "x", 1), 1);
    EXPECT_EQ(other.wait(), 0);
    busy.unlock();
    EXPECT_TRUE(eventually([&] { return helper->kept() == 1 && admission.ended() == 1; }));
}

TEST_F(SocketAccess, ReplacesATemporarySocketOfAnEarlierProcess) {
    const auto place = temporary / ("other.socket." + std::to_string(getpid()));
    writeFile(place, "");
    EXPECT_TRUE(unix_socket::listen(folder.get(), "other.socket").isValid());
    EXPECT_FALSE(std::filesystem::exists(place));
}

TEST_F(SocketAccess, DropsDescriptorsSentWithARequest) {
    RawClient client(folder.get());
    EXPECT_EQ(client.version(1), 6);
    const auto countOpen = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = countOpen();
    auto request = versionRequest(2);
    iovec content{.iov_base = request.data(), .iov_len = request.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr header{};
    header.msg_iov = &content;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    auto* const rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = client.descriptor();
    std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
    ASSERT_GT(sendmsg(client.descriptor(), &header, 0), 0);
    ASSERT_TRUE(client.receive());
    EXPECT_EQ(countOpen(), before);
}

TEST_F(SocketAccess, AllUsersMayConnectAndNoTemporaryFileIsLeft) {
    struct stat status = {};
    ASSERT_EQ(stat((temporary / "service.socket").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0666U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(temporary.path()), {}), 1);
}

TEST_F(SocketAccess, RecreatesADeletedSocket) {
    for (int i = 0; i < 3; ++i) {
        std::filesystem::remove(temporary / "service.socket");
        EXPECT_TRUE(eventually([&] { return unix_socket::connect(folder.get(), "service.socket").isValid(); }));
    }
    RawClient client(folder.get());
    EXPECT_EQ(client.version(1), 6);
}

TEST_F(SocketAccess, DoesNotFollowLinks) {
    const auto victim = temporary / "victim";
    const auto place = temporary / ("other.socket." + std::to_string(getpid()));
    for (const auto& link : {place, temporary / "other.socket"})
        std::filesystem::create_symlink(victim, link);
    EXPECT_TRUE(unix_socket::listen(folder.get(), "other.socket").isValid());
    EXPECT_FALSE(std::filesystem::exists(victim));
    EXPECT_TRUE(std::filesystem::is_socket(temporary / "other.socket"));
    std::filesystem::create_directory(place); // a folder cannot be replaced
    EXPECT_THROW(unix_socket::listen(folder.get(), "other.socket"), std::system_error);
}

// Uses no fixture, because the forked child must have only one thread.
TEST(SocketListenerWithoutThreads, RetriesUntilAThreadCanBeStarted) {
    const TemporaryFolder temporary;
    const FileDescriptor folder(open(temporary.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::filesystem::permissions(temporary.path(), std::filesystem::perms(0777)); // for a user without any rights
    OtherProcess other([&] {
        if (setresuid(65'533, 65'533, 65'533) != 0 && errno != EPERM) // an ordinary user has no rights to drop
            return 1;
        prctl(PR_SET_DUMPABLE, 1); // makes its descriptors accessible to it again
        rlimit threads{};
        getrlimit(RLIMIT_NPROC, &threads);
        const rlimit none = {.rlim_cur = 0, .rlim_max = threads.rlim_max};
        setrlimit(RLIMIT_NPROC, &none);
        EventLoop loop;
        int troubles = 0;
        std::string refusal;
        SocketListener refused(loop, folder.get(), "other.socket", [](int, const std::string&) { return std::nullopt; },
                               {.onRefusal =
                                    [&](const std::string& reason) {
                                        refusal = reason;
                                        loop.stop();
                                    },
                                .onTrouble = [&](const std::string&) { ++troubles; },
                                .onRecovery = [&] { loop.stop(); }});
        refused.setConnectionCodeSigningRequirement("any");
        refused.setAdmission([](IncomingConnection&) { return true; });
        if (refused.resume() || troubles != 1)
            return 2;
        setrlimit(RLIMIT_NPROC, &threads);
        loop.postAfter(10, [] { _exit(3); });
        loop.run();
        setrlimit(RLIMIT_NPROC, &none); // before the first peer, which is checked on another thread
        const auto peer = unix_socket::connect(folder.get(), "other.socket");
        loop.run();
        return refusal.starts_with("A peer is cut off: there is no thread to check it") ? 0 : 4;
    });
    EXPECT_EQ(other.wait(), 0);
}

} // namespace
} // namespace kelo
