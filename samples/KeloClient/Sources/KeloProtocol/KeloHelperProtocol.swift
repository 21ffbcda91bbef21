import Foundation

/// Constants of the protocol between helper and client; docs/protocol.md explains them.
public enum KeloHelper {
    public static let machServiceName = "app.kelo.helper"
    public static let interfaceVersion = 6

    /// Returns the requirement for the helper's signature. `team` is the team that signed both programs.
    public static func requirement(team: String) -> String {
        "anchor apple generic and identifier \"\(machServiceName)\" and certificate leaf[subject.OU] = \"\(team)\""
    }
}

/// The compiler derives the five selectors and types from these declarations, and the helper compares them, so these
/// declarations must not change. XPC calls the replies on a queue of the connection, never on the main thread.
@objc public protocol KeloHelperProtocol {
    func fetchSnapshot(reply: @escaping @Sendable (Data?) -> Void)
    func hold(fraction: Double, handsBackOnLidClose: Bool, reply: @escaping @Sendable (String?) -> Void)
    func handBack(reply: @escaping @Sendable (String?) -> Void)
    func helperVersion(reply: @escaping @Sendable (Int) -> Void)
    func standDown(reply: @escaping @Sendable () -> Void)
}

/// protocol/FanSnapshot.schema.json describes each member.
public struct FanSnapshot: Decodable, Sendable {
    public let fanCount: Int
    public let currentRPM: Double
    public let minRPM: Double
    public let maxRPM: Double
    public let targetRPM: Double
    public let underKeloControl: Bool
    public let warmth: String
    public let chipCelsius: Double?
    public let addingAir: Bool
    public let lidHasFan: Bool

    /// Tells the owner of the Mac who controls the fans.
    public var control: String {
        if fanCount == 0 { return "no usable fan" }
        if lidHasFan { return "waiting: the lid is closed, or the fans could not be taken again" }
        if !underKeloControl { return "automatic" }
        return addingAir ? "held, raised: the chip is hot" : "held"
    }
}
