// Declares the part of XPC that the package uses, because only a Mac's Foundation includes XPC.
import Foundation

public class NSXPCInterface: @unchecked Sendable {
    public init(with protocol: Any.Type) {}
}

public class NSXPCConnection: @unchecked Sendable {
    public struct Options: OptionSet, Sendable {
        public let rawValue: UInt
        public init(rawValue: UInt) { self.rawValue = rawValue }
        public static let privileged = Options(rawValue: 1 << 12)
    }
    public init(machServiceName: String, options: Options) {}
    public var remoteObjectInterface: NSXPCInterface?
    public var interruptionHandler: (@Sendable () -> Void)?
    public func setCodeSigningRequirement(_ requirement: String) {}
    public func resume() {}
    public func invalidate() {}
    public func remoteObjectProxyWithErrorHandler(_ handler: @escaping @Sendable (Error) -> Void) -> Any { self }
}
