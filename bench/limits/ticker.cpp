// Measures the minimum cost of a hold: only makes the exchanges of each tick, over the same kind of connection as the
// helper.
//
// usage: bench_ticker FOLDER SECONDS: the simulated Mac's folder, and the time between ticks. Runs until killed.

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "bench/limits/BareMac.h"

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const kelo::FileDescriptor folder(open(argv[1], O_PATH | O_DIRECTORY | O_CLOEXEC));
    const kelo::bench::BareMac mac(folder.get());
    const auto pause = static_cast<useconds_t>(std::atof(argv[2]) * 1e6);
    while (true) {
        usleep(pause);
        mac.tick();
    }
}
