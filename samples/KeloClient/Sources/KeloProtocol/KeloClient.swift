import Foundation

/// A connection to the helper that keeps a hold: asks for the hold again after an interruption, and asks an older helper to
/// stand down first. Any thread.
public final class KeloClient: @unchecked Sendable {
    public enum Failure: Error, Sendable {
        /// The helper's message, for the owner of the Mac.
        case refused(String)
        /// The connection failed; the next request reconnects.
        case unreachable(String)
        /// The helper has this higher interface version: update the app.
        case appIsOlder(Int)
    }

    private struct Hold {
        let fraction: Double
        let handsBackOnLidClose: Bool
    }

    private let connection: NSXPCConnection
    private let queue = DispatchQueue(label: "app.kelo.client") // guards `wanted`
    private var wanted: Hold?
    private let report: @Sendable (Failure) -> Void

    /// `report` is called for each failure, on a queue of the connection.
    public init(team: String, report: @escaping @Sendable (Failure) -> Void) {
        self.report = report
        connection = NSXPCConnection(machServiceName: KeloHelper.machServiceName, options: .privileged)
        connection.remoteObjectInterface = NSXPCInterface(with: KeloHelperProtocol.self)
        connection.setCodeSigningRequirement(KeloHelper.requirement(team: team))
        // Called when the helper has exited. After a crash the fans stay as they were until a client asks again.
        connection.interruptionHandler = { @Sendable [weak self] in self?.requestHold() }
        connection.resume()
    }

    deinit { connection.invalidate() }

    /// Checks the helper's version, and calls `next` unless the helper is newer. Must be called first. Makes an older
    /// helper hand the fans back and exit; the next request starts the new helper.
    public func start(then next: @escaping @Sendable () -> Void) {
        helper?.helperVersion { [weak self] version in
            if version > KeloHelper.interfaceVersion {
                self?.report(.appIsOlder(version))
            } else if version < KeloHelper.interfaceVersion {
                self?.helper?.standDown { next() }
            } else {
                next()
            }
        }
    }

    public func fetchSnapshot(reply: @escaping @Sendable (FanSnapshot?) -> Void) {
        helper?.fetchSnapshot { json in
            reply(json.flatMap { try? JSONDecoder().decode(FanSnapshot.self, from: $0) })
        }
    }

    public func hold(fraction: Double, handsBackOnLidClose: Bool) {
        queue.sync { wanted = Hold(fraction: fraction, handsBackOnLidClose: handsBackOnLidClose) }
        requestHold()
    }

    /// Replies whether every fan is automatic afterwards. The helper's own reply does not report a refusal by the
    /// controller.
    public func handBack(reply: @escaping @Sendable (Bool) -> Void) {
        queue.sync { wanted = nil }
        helper?.handBack { [weak self] _ in
            self?.fetchSnapshot { reply($0.map { !$0.underKeloControl } ?? false) }
        }
    }

    private func requestHold() {
        guard let hold = queue.sync(execute: { wanted }) else { return }
        helper?.hold(fraction: hold.fraction, handsBackOnLidClose: hold.handsBackOnLidClose) { [weak self] error in
            if let error { self?.report(.refused(error)) }
        }
    }

    private var helper: KeloHelperProtocol? {
        connection.remoteObjectProxyWithErrorHandler { @Sendable [report] error in
            report(.unreachable(error.localizedDescription))
        } as? KeloHelperProtocol
    }
}
