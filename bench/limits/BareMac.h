#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/smc/SMCKeyData.h"
#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/ControllerLink.h"
#include "simulator/link/LidLink.h"

namespace kelo::bench {

/// The helper's exchanges with the simulated Mac's controller, without the helper: a record sent, a record received.
class BareMac {
public:
    /// `folder` is borrowed, the simulated Mac's.
    explicit BareMac(int folder)
        : controller_(unix_socket::connect(folder, ControllerLink::socketName)),
          lid_(unix_socket::connect(folder, LidLink::socketName)) {
        if (!controller_.isValid() || !lid_.isValid())
            std::abort();
    }

    /// A quiet tick of a hold on two fans: the lid, the fans, the chip, and the fans again.
    void tick() const {
        readLid();
        readFans();
        read("Tp09", 4);
        readFans();
    }

    /// What a snapshot is made of: the fans, and the chip twice.
    void readForSnapshot() const {
        readFans();
        read("Tp09", 4);
        read("Tp09", 4);
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

    void exchange(const char* key, SMCCommand command, std::uint32_t size) const {
        SMCKeyData record{};
        record.key = smcCode(key);
        record.data8 = static_cast<std::uint8_t>(command);
        record.keyInfo.dataSize = size;
        if (send(controller_.get(), &record, sizeof record, MSG_NOSIGNAL) != sizeof record ||
            recv(controller_.get(), &record, sizeof record, 0) != sizeof record || record.result != 0)
            std::abort();
    }

    void readLid() const {
        LidLink::Answer answer;
        if (send(lid_.get(), LidLink::question.data(), LidLink::question.size(), MSG_NOSIGNAL) < 0 ||
            recv(lid_.get(), answer.data(), answer.size(), 0) != sizeof answer)
            std::abort();
    }

    FileDescriptor controller_;
    FileDescriptor lid_;
};

} // namespace kelo::bench
