#include <fcntl.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "bench/runner/ProcessFacts.h"
#include "bench/runner/Rows.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto cycle = std::chrono::seconds(2);

// Two fans and two sensors as the kernel shows them, except that they are no fans: four files of the loopback interface
// of a network of its own hold a number each and are of the same file system as those of a fan, where neither position
// nor truncation matters. Nothing of it is seen outside, and it is gone with the process.
constexpr const char* stageFans = R"(set -e
folder=$1; shift
mount -t tmpfs none /run
mount -t sysfs none /sys
interface=/sys/class/net/lo
mount --bind $interface/tx_queue_len $folder/pwm1
mount --bind $interface/mtu $folder/pwm2
mount --bind $interface/netdev_group $folder/pwm1_enable
mount --bind $interface/napi_defer_hard_irqs $folder/pwm2_enable
for fan in 1 2; do echo 100 >$folder/pwm$fan; echo 2 >$folder/pwm${fan}_enable; done
exec "$@")";

/// A fan's mode, as the kernel counts them.
constexpr int manual = 1;
constexpr int automatic = 2;

void write(const std::filesystem::path& file, const std::string& text) { std::ofstream(file) << text; }

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

constexpr const char* thinkfanConfiguration = R"(sensors:
  - hwmon: FOLDER/temp1_input
  - hwmon: FOLDER/temp2_input
fans:
  - hwmon: FOLDER/pwm1
    levels: [ [ 0, 0, 50 ], [ 128, 45, 70 ], [ 255, 65, 255 ] ]
  - hwmon: FOLDER/pwm2
    levels: [ [ 0, 0, 50 ], [ 128, 45, 70 ], [ 255, 65, 255 ] ]
)";

constexpr const char* fancontrolConfiguration = R"(INTERVAL=2
FCTEMPS=FOLDER/pwm1=FOLDER/temp1_input FOLDER/pwm2=FOLDER/temp2_input
MINTEMP=FOLDER/pwm1=40 FOLDER/pwm2=40
MAXTEMP=FOLDER/pwm1=80 FOLDER/pwm2=80
MINSTART=FOLDER/pwm1=100 FOLDER/pwm2=100
MINSTOP=FOLDER/pwm1=50 FOLDER/pwm2=50
)";

struct Peer {
    std::string name;
    std::vector<std::string> command;
    bool startsSleep; ///< The program of that name, in each cycle.
};

/// A peer that runs on fans of its own.
class RunningPeer {
public:
    RunningPeer(const std::filesystem::path& folder, const Peer& peer)
        : folder_(folder), process_(staged(folder, peer)) {
        const auto end = Clock::now() + 5 * cycle;
        while (read("pwm2_enable") != manual || read("pwm2") == 100) {
            if (Clock::now() > end)
                throw std::runtime_error(peer.name + " does not take the fans; is this the root user?");
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        network_ = FileDescriptor(open((process() + "/ns/net").c_str(), O_RDONLY | O_CLOEXEC));
        mode_ = FileDescriptor(open(path("pwm1_enable").c_str(), O_RDONLY | O_CLOEXEC));
    }

    pid_t pid() const { return process_.pid(); }

    int read(const std::string& file) const { return numberIn(path(file)); }
    /// The first fan's, which can be read after the end, too.
    int mode() const { return numberIn("/proc/self/fd/" + std::to_string(mode_.get())); }
    void interfere(const std::string& file, int number) const { write(path(file), std::to_string(number)); }

    /// Milliseconds from SIGTERM to its end.
    double end() {
        const auto start = Clock::now();
        kill(process_.pid(), SIGTERM);
        process_.wait();
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    }

private:
    static std::vector<std::string> staged(const std::filesystem::path& folder, const Peer& peer) {
        std::vector<std::string> command = {"/usr/bin/unshare", "--mount", "--net", "/bin/sh", "-c",
                                            stageFans,          "sh",      folder};
        command.insert(command.end(), peer.command.begin(), peer.command.end());
        return command;
    }
    std::string process() const { return "/proc/" + std::to_string(process_.pid()); }
    /// Where its files are seen from here.
    std::string path(const std::string& file) const { return process() + "/root" + (folder_ / file).string(); }
    static int numberIn(const std::string& file) {
        int number = -1;
        std::ifstream(file) >> number;
        return number;
    }

    std::filesystem::path folder_;
    PipedProcess process_;
    FileDescriptor network_; ///< Kept, so that the file of the mode is there after its end.
    FileDescriptor mode_;
};

/// Of all children that have ended, and of theirs; microseconds.
double processorTimeOfChildren() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto microseconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
    };
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

/// The processor time of a `sleep`, which is counted only when it has ended; microseconds.
double processorTimeOfSleep() {
    std::vector<double> times;
    for (int i = 0; i < 20; ++i) {
        const auto before = processorTimeOfChildren();
        PipedProcess({"/bin/sleep", "0"}).wait();
        times.push_back(processorTimeOfChildren() - before);
    }
    return median(times);
}

void measureCycles(const std::filesystem::path& folder, const Peer& peer, int cycles, Figures& figures) {
    const RunningPeer running(folder, peer);
    std::this_thread::sleep_for(cycle / 2);
    const auto before = ProcessFacts::of(running.pid());
    std::this_thread::sleep_for(cycles * cycle);
    const auto after = ProcessFacts::of(running.pid());
    const auto add = [&, prefix = "peers." + peer.name](const std::string& name, double value,
                                                        const std::string& unit) {
        figures.add(prefix + name, value, unit);
    };
    add(".cycle",
        (after.processorTime - before.processorTime) / cycles + (peer.startsSleep ? processorTimeOfSleep() : 0), "us");
    const double perMinute = 60 / std::chrono::duration<double>(cycles * cycle).count();
    add(".waits", static_cast<double>(after.waits - before.waits) * perMinute, "per minute");
    add(".private-without-libraries", after.privateToItself, "KiB");
    add(".resident", after.resident, "KiB");
}

/// What becomes of a fan's value and of its mode when another program changes them, and what the peer leaves.
void measureInterference(const std::filesystem::path& folder, const Peer& peer, Figures& figures) {
    RunningPeer running(folder, peer);
    const int own = running.read("pwm1");
    running.interfere("pwm1", 200);
    running.interfere("pwm2_enable", automatic);
    std::this_thread::sleep_for(3 * cycle);
    figures.add("peers." + peer.name + ".value-restored", running.read("pwm1") == own ? 1 : 0, "of 1 in 3 cycles");
    figures.add("peers." + peer.name + ".mode-restored", running.read("pwm2_enable") == manual ? 1 : 0,
                "of 1 in 3 cycles");
    figures.add("peers." + peer.name + ".exit", running.end(), "ms");
    figures.add("peers." + peer.name + ".automatic-afterwards", running.mode() == automatic ? 1 : 0, "of 1");
}

} // namespace

void measurePeers(const Scene& scene, Figures& figures) {
    const auto folder = std::filesystem::absolute(scene.installed("peers"));
    std::filesystem::create_directories(folder);
    for (const std::string file : {"pwm1", "pwm2", "pwm1_enable", "pwm2_enable"})
        write(folder / file, "");
    for (const std::string file : {"temp1_input", "temp2_input"})
        write(folder / file, "60000\n");
    write(folder / "thinkfan.yaml", replaced(thinkfanConfiguration, "FOLDER", folder));
    write(folder / "fancontrol.conf", replaced(fancontrolConfiguration, "FOLDER", folder));
    const Peer peers[] = {{"thinkfan", {"/usr/sbin/thinkfan", "-n", "-s", "2", "-c", folder / "thinkfan.yaml"}, false},
                          {"fancontrol", {"/usr/sbin/fancontrol", folder / "fancontrol.conf"}, true}};
    for (const auto& peer : peers) {
        measureCycles(folder, peer, scene.count(30, 5), figures);
        measureInterference(folder, peer, figures);
    }
}

} // namespace kelo::bench
