// Measures the minimum cost of answering requests: waits for any client, receives a message and sends a constant reply.
//
// usage: bench_responder FOLDER SOCKET REPLY-SIZE [MAC-FOLDER]
//
// Listens at SOCKET in FOLDER until killed. If MAC-FOLDER, the simulated Mac's folder, is given, another thread makes
// the exchanges of a snapshot before each reply.

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

/// Reads the Mac on another thread when requested, and signals `done` afterwards.
class Reader {
public:
    explicit Reader(const char* folder) : folder_(openFolder(folder)), mac_(folder_.get()) {
        thread_ = std::thread([this] {
            while (true) {
                consume(requested_);
                mac_.readForSnapshot();
                signal(done_);
            }
        });
    }
    void request() const { signal(requested_); }
    int done() const { return done_.get(); }
    void consumeDone() const { consume(done_); }

private:
    static void signal(const FileDescriptor& event) {
        const std::uint64_t one = 1;
        if (write(event.get(), &one, sizeof one) != sizeof one)
            std::abort();
    }
    static void consume(const FileDescriptor& event) {
        std::uint64_t count = 0;
        if (::read(event.get(), &count, sizeof count) != sizeof count)
            std::abort();
    }

    FileDescriptor folder_;
    BareMac mac_;
    FileDescriptor requested_{eventfd(0, EFD_CLOEXEC)};
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
            reader_->consumeDone();
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
            reader_->request();
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
    int waiting_ = -1; ///< The client that waits for the reader.
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
