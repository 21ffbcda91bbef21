// swift-tools-version: 5.9
// A client of the helper in Swift: a library with everything that an app needs, and a sample program that uses it.
//
// The tests only type-check it, against a stub of XPC. It has not been built on a Mac.

import PackageDescription

let package = Package(
    name: "KeloClient",
    platforms: [.macOS(.v14)],
    products: [.library(name: "KeloProtocol", targets: ["KeloProtocol"])],
    targets: [
        // The name of this module is part of the run-time name of the protocol.
        .target(name: "KeloProtocol"),
        .executableTarget(name: "kelo-sample", dependencies: ["KeloProtocol"]),
    ]
)
