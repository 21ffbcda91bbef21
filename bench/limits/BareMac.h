#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/smc/SMCKeyData.h"
#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/socket/UnixSocket.h"

namespace kelo::bench {

/// Makes the helper's exchanges with the simulated Mac, without the helper. Each exchange sends one record and receives
/// one.
class BareMac {
public:
    /// `folder` is an open descriptor of the simulated Mac's folder, needed only during construction.
    explicit BareMac(int folder) : socket_(unix_socket::connect(folder, mac_wire::hardwareSocket)) {
        if (!socket_.isValid())
            std::abort();
    }

    /// Makes the exchanges of a tick that repairs nothing, with two fans: lid, fans, chip, and fans again.
    void tick() const {
        readLid();
        readFans();
        read("Tp09", 4);
        readFans();
    }

    /// Makes the exchanges of a snapshot: the fans, and the chip twice.
    void readForSnapshot() const {
        readFans();
        read("Tp09", 4);
        read("Tp09", 4);
    }

    void exchange(const char* key, SMCCommand command, std::uint32_t size) const {
        SMCKeyData record{};
        record.key = smcCode(key);
        record.data8 = static_cast<std::uint8_t>(command);
        record.keyInfo.dataSize = size;
        if (send(socket_.get(), &record, sizeof record, MSG_NOSIGNAL) != sizeof record ||
            recv(socket_.get(), &record, sizeof record, 0) != sizeof record || record.result != 0)
            std::abort();
    }

private:
    void readFans() const {
        for (const char fan : {'0', '1'})
            for (const char* const suffix : {"Ac", "Mn", "Mx", "Md", "Tg"}) {
                const char key[] = {'F', fan, suffix[0], suffix[1]};
                read(key, suffix[1] == 'd' ? 1 : 4);
            }
    }

    void read(const char* key, std::uint32_t size) const {
        exchange(key, SMCCommand::readKeyInfo, 0);
        exchange(key, SMCCommand::readBytes, size);
    }

    void readLid() const {
        mac_wire::LidRecord lid{};
        if (send(socket_.get(), &mac_wire::lidQuestion, sizeof mac_wire::lidQuestion, MSG_NOSIGNAL) < 0 ||
            recv(socket_.get(), &lid, sizeof lid, 0) != sizeof lid)
            std::abort();
    }

    FileDescriptor socket_;
};

} // namespace kelo::bench
