// The limit for a helper that answers requests: a loop that waits for any client, receives a message into a buffer of
// its own and sends a reply that is always the same.
//
// usage: bench_responder FOLDER SOCKET REPLY-SIZE [MAC-FOLDER]: where it listens, and how large its replies are. With
// the simulated Mac's folder another thread reads what a snapshot is made of before each reply. Runs until killed.

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>
#include <vector>

#include "bench/limits/BareMac.h"

namespace kelo::bench {
namespace {

FileDescriptor openFolder(const char* path) { return FileDescriptor(open(path, O_PATH | O_DIRECTORY | O_CLOEXEC)); }

/// Another thread, which reads the Mac when it is rung for and rings back.
class Reader {
public:
    explicit Reader(const char* folder) : folder_(openFolder(folder)), mac_(folder_.get()) {
        thread_ = std::thread([this] {
            while (true) {
                take(rung_);
                mac_.readForSnapshot();
                ring(done_);
            }
        });
    }
    void ask() const { ring(rung_); }
    int done() const { return done_.get(); }
    void takeDone() const { take(done_); }

private:
    static void ring(const FileDescriptor& bell) {
        const std::uint64_t one = 1;
        if (write(bell.get(), &one, sizeof one) != sizeof one)
            std::abort();
    }
    static void take(const FileDescriptor& bell) {
        std::uint64_t count = 0;
        if (::read(bell.get(), &count, sizeof count) != sizeof count)
            std::abort();
    }

    FileDescriptor folder_;
    BareMac mac_;
    FileDescriptor rung_{eventfd(0, EFD_CLOEXEC)};
    FileDescriptor done_{eventfd(0, EFD_CLOEXEC)};
    std::thread thread_;
};

class Responder {
public:
    Responder(int folder, const char* name, std::size_t replySize, const Reader* reader)
        : listening_(unix_socket::listen(folder, name)), reply_(replySize), reader_(reader) {
        watch(listening_.get());
        if (reader_ != nullptr)
            watch(reader_->done());
    }

    [[noreturn]] void run() {
        while (true) {
            std::array<epoll_event, 32> events;
            const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), -1);
            for (int i = 0; i < count; ++i)
                serve(events[static_cast<std::size_t>(i)].data.fd);
        }
    }

private:
    void watch(int descriptor) const {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = descriptor;
        epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event);
    }

    void serve(int descriptor) {
        if (descriptor == listening_.get()) {
            clients_.push_back(unix_socket::accept(listening_.get()));
            watch(clients_.back().get());
        } else if (reader_ != nullptr && descriptor == reader_->done()) {
            reader_->takeDone();
            unix_socket::send(waiting_, reply_);
        } else {
            receiveFrom(descriptor);
        }
    }

    void receiveFrom(int client) {
        const auto received = unix_socket::receive(client, buffer_);
        if (std::holds_alternative<unix_socket::Ended>(received)) {
            std::erase_if(clients_, [client](const FileDescriptor& socket) { return socket.get() == client; });
        } else if (reader_ != nullptr) {
            waiting_ = client;
            reader_->ask();
        } else {
            unix_socket::send(client, reply_);
        }
    }

    FileDescriptor epoll_{epoll_create1(EPOLL_CLOEXEC)};
    FileDescriptor listening_;
    const std::vector<std::uint8_t> reply_;
    const Reader* const reader_;
    std::array<std::uint8_t, 4096> buffer_;
    std::vector<FileDescriptor> clients_;
    int waiting_ = -1; ///< The client whose reply is being made.
};

} // namespace
} // namespace kelo::bench

int main(int argc, char** argv) {
    using namespace kelo::bench;
    if (argc != 4 && argc != 5)
        return 2;
    const auto folder = openFolder(argv[1]);
    std::optional<Reader> reader;
    if (argc == 5)
        reader.emplace(argv[4]);
    Responder responder(folder.get(), argv[2], std::strtoul(argv[3], nullptr, 10), reader ? &*reader : nullptr);
    std::puts("listening");
    std::fflush(stdout);
    responder.run();
}
