// Prints the fans, holds them for a while and hands them back.
//
// usage: kelo-sample TEAM FRACTION SECONDS: the team that signed both programs, the fraction to hold (0 to 1), the
// duration
//
// To build it on a Mac, in samples/KeloClient:
//   swift build --configuration release --arch arm64 --arch x86_64
//   codesign --force --options runtime --identifier app.kelo.Kelo --sign "Developer ID Application: NAME (TEAM)" \
//     .build/apple/Products/Release/kelo-sample

import Foundation
import KeloProtocol

@Sendable func fail(_ text: String, status: Int32 = 1) -> Never {
    FileHandle.standardError.write(Data("kelo-sample: \(text)\n".utf8))
    exit(status)
}

let arguments = CommandLine.arguments
guard arguments.count == 4, let fraction = Double(arguments[2]), let seconds = Double(arguments[3]) else {
    fail("usage: kelo-sample TEAM FRACTION SECONDS", status: 2)
}

let client = KeloClient(team: arguments[1]) { failure in
    switch failure {
    case .refused(let text): fail(text)
    case .appIsOlder(let version): fail("the helper's interface version is \(version): update this program")
    case .unreachable(let text): FileHandle.standardError.write(Data("kelo-sample: \(text)\n".utf8))
    }
}

client.start { [client] in
    client.fetchSnapshot { snapshot in
        guard let snapshot else { fail("no controllable fan") }
        print("\(snapshot.fanCount) fans, \(Int(snapshot.currentRPM)) RPM, \(snapshot.control)")
        client.hold(fraction: fraction, handsBackOnLidClose: true)
        DispatchQueue.global().asyncAfter(deadline: .now() + seconds) {
            client.handBack { isAutomatic in
                if isAutomatic { exit(0) }
                fail("a fan is still in manual mode")
            }
        }
    }
}
dispatchMain()
