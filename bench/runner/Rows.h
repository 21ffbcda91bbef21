#pragma once

#include "bench/runner/Figures.h"
#include "bench/runner/Scene.h"

namespace kelo::bench {

// What is measured, each of these a name on the command line.

void measureInMemory(const Scene& scene, Figures& figures);
void measureHolding(const Scene& scene, Figures& figures);
void measureRequests(const Scene& scene, Figures& figures);
void measureConnecting(const Scene& scene, Figures& figures);

void measureClients(const Scene& scene, Figures& figures);
void measureIdling(const Scene& scene, Figures& figures);
void measureMemory(const Scene& scene, Figures& figures);
void measureStart(const Scene& scene, Figures& figures);
void measureHandBack(const Scene& scene, Figures& figures);
void measureSize(const Scene& scene, Figures& figures);

/// Two fan daemons of Linux, which must be installed: only when named. Needs the root user.
void measurePeers(const Scene& scene, Figures& figures);

} // namespace kelo::bench
