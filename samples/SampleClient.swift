// The least that a Swift program needs to talk to the helper: asks for its version, prints the fans, holds them for a
// while and hands them back. docs/protocol.md explains each step.
//
// NOT COMPILED by this project's tests, which run where there is no Swift compiler for a Mac. SampleClient.mm, which
// does the same, is.
//
// usage: sample-client TEAM FRACTION SECONDS
//
// To build it on a Mac, from the top of the repository; the module's name is part of the protocol's:
//   swiftc -module-name KeloProtocol samples/SampleClient.swift -o sample-client
//   codesign --force --options runtime --identifier app.kelo.Kelo --sign "Developer ID Application: NAME (TEAM)" \
//     sample-client
//
// This makes it for one processor; a client that ships is built for both (`lipo -create`).

import Foundation

/// The compiler makes of these the five selectors and types that the helper compares, so none may change.
@objc public protocol KeloHelperProtocol {
    func fetchSnapshot(reply: @escaping (Data?) -> Void)
    func hold(fraction: Double, handsBackOnLidClose: Bool, reply: @escaping (String?) -> Void)
    func handBack(reply: @escaping (String?) -> Void)
    func helperVersion(reply: @escaping (Int) -> Void)
    func standDown(reply: @escaping () -> Void)
}

/// protocol/FanSnapshot.schema.json says what each member means.
struct FanSnapshot: Decodable {
    let fanCount: Int
    let currentRPM: Double
    let minRPM: Double
    let maxRPM: Double
    let targetRPM: Double
    let underKeloControl: Bool
    let warmth: String
    let chipCelsius: Double?
    let addingAir: Bool
    let lidHasFan: Bool
}

let interfaceVersion = 6

func fail(_ text: String, status: Int32 = 1) -> Never {
    FileHandle.standardError.write(Data("sample-client: \(text)\n".utf8))
    exit(status)
}

let arguments = CommandLine.arguments
guard arguments.count == 4, let fraction = Double(arguments[2]), let seconds = Double(arguments[3]) else {
    fail("usage: sample-client TEAM FRACTION SECONDS", status: 2)
}

let connection = NSXPCConnection(machServiceName: "app.kelo.helper", options: .privileged)
connection.remoteObjectInterface = NSXPCInterface(with: KeloHelperProtocol.self)
connection.setCodeSigningRequirement(
    "anchor apple generic and identifier \"app.kelo.helper\" and certificate leaf[subject.OU] = \"\(arguments[1])\"")
// The helper has gone or crashed, and with it the hold: the next request starts it again, and a program that still
// wants a hold asks for one again.
connection.interruptionHandler = { fail("the helper has gone") }
connection.resume()

// Replies arrive on a queue of the connection's, never on the main thread.
guard let helper = connection.remoteObjectProxyWithErrorHandler({ fail($0.localizedDescription) })
    as? KeloHelperProtocol
else {
    fail("the connection has no proxy")
}

func handBackAndLeave() {
    helper.handBack { _ in exit(0) }
}

func hold() {
    helper.hold(fraction: fraction, handsBackOnLidClose: true) { error in
        if let error { fail(error) }
        DispatchQueue.main.asyncAfter(deadline: .now() + seconds, execute: handBackAndLeave)
    }
}

helper.helperVersion { version in
    guard version == interfaceVersion else { fail("the helper's interface version is \(version)") }
    helper.fetchSnapshot { json in
        if let json, let snapshot = try? JSONDecoder().decode(FanSnapshot.self, from: json) {
            print("\(snapshot.fanCount) fans, \(Int(snapshot.currentRPM)) RPM, chip \(snapshot.warmth)")
        } else {
            print("no controllable fan")
        }
        hold()
    }
}
dispatchMain()
