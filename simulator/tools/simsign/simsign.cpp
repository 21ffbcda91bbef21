// simsign: creates development keys for simulated Macs, signs executables and verifies signatures.

#include <CLI/CLI.hpp>
#include <fcntl.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "client/UsageError.h"
#include "platform/linux/signing/CodeRequirement.h"
#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/TrustAnchor.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/tools/simsign/CodeSigner.h"
#include "simulator/tools/simsign/KeyFolder.h"
#include "simulator/tools/simsign/SigningFailed.h"

namespace kelo {
namespace {

namespace fs = std::filesystem;

struct Arguments {
    std::string folder;
    std::string executable;
    std::string identifier;
    std::string team = "KELODEV001";
    std::string anchorFile;
    std::optional<std::string> requirement;
    bool isForced = false;
};

/// Throws `sentence` unless the condition holds, so that a bad signature is handled like every other failure.
void require(bool condition, const std::string& sentence) {
    if (!condition)
        throw SigningFailed(sentence);
}

void init(const Arguments& arguments) {
    KeyFolder keys(arguments.folder);
    require(arguments.isForced || !keys.hasAnchor(),
            "The folder " + arguments.folder + " already contains an anchor; --force replaces it and all its teams.");
    keys.makeAnchor();
    keys.team(arguments.team);
    std::printf("created an anchor and team \"%s\" in %s\n", arguments.team.c_str(), arguments.folder.c_str());
}

void sign(const Arguments& arguments) {
    KeyFolder keys(arguments.folder);
    const auto team = keys.team(arguments.team);
    signExecutable(arguments.executable, arguments.identifier, team);
    std::printf("signed %s as \"%s\" of team \"%s\"\n", arguments.executable.c_str(), arguments.identifier.c_str(),
                arguments.team.c_str());
}

void verify(const Arguments& arguments) {
    const FileDescriptor executable(::open(arguments.executable.c_str(), O_RDONLY | O_CLOEXEC));
    require(executable.isValid(), "The file " + arguments.executable + " cannot be read.");
    const auto verdict = verifyCodeSignature(executable.get(), TrustAnchor::load(arguments.anchorFile));
    require(verdict.identity.has_value(), verdict.reason);
    if (arguments.requirement) {
        const auto requirement = CodeRequirement::parse(*arguments.requirement);
        require(requirement.has_value(), "The requirement does not parse.");
        require(requirement->isSatisfiedBy(*verdict.identity), "The executable is \"" + verdict.identity->identifier +
                                                                   "\" of team \"" + verdict.identity->team +
                                                                   "\", which does not satisfy the requirement.");
    }
    std::printf("identifier: %s\nteam: %s\n", verdict.identity->identifier.c_str(), verdict.identity->team.c_str());
}

constexpr const char* footer =
    "Identifiers and teams may contain any printable ASCII characters, including double quotes and spaces, and may be\n"
    "empty: tests need peers whose names no requirement can match. Write --team=NAME for a name that begins with a\n"
    "hyphen, and --team '' for the empty one.\n\n"
    "Exit status: 0 success, 1 failed or not verified (the reason is on standard error), 2 incorrect usage.";

using Action = std::function<void(const Arguments&)>;

/// Declares the command line. Parsing it fills `arguments` and sets `action`.
void declare(CLI::App& app, Arguments& arguments, Action& action) {
    app.set_version_flag("--version", "simsign " KELO_VERSION);
    app.require_subcommand(1);
    app.footer(footer);

    auto* makes = app.add_subcommand("init", "Creates a development anchor and a team in a folder.");
    makes->add_option("folder", arguments.folder, "The folder")->required();
    makes->add_option("--team", arguments.team, "The team's name")->capture_default_str();
    makes->add_flag("--force", arguments.isForced, "Replace an existing anchor and all its teams");
    makes->callback([&] { action = init; });

    auto* signs = app.add_subcommand("sign", "Signs an executable in place, replacing any signature it has.");
    signs->add_option("executable", arguments.executable, "The executable")->required();
    signs->add_option("--identifier", arguments.identifier, "The identifier to sign it with")->required();
    signs->add_option("--team", arguments.team, "The team that signs; created if the folder does not have it")
        ->required();
    signs->add_option("--keys", arguments.folder, "The folder that init created")->required();
    signs->callback([&] { action = sign; });

    auto* verifies = app.add_subcommand("verify", "Verifies an executable, and prints its identifier and team.");
    verifies->add_option("executable", arguments.executable, "The executable")->required();
    verifies->add_option("--anchor", arguments.anchorFile, "The anchor's public key, the file anchor.pub")->required();
    verifies->add_option("--requirement", arguments.requirement, "A requirement that the identity must also satisfy");
    verifies->callback([&] { action = verify; });
}

int run(int argc, const char* const* argv) {
    CLI::App app{"Creates development keys for simulated Macs, signs executables, and verifies signatures.", "simsign"};
    Arguments arguments;
    Action action;
    declare(app, arguments, action);
    return runProgram(app, argc, argv, [&] {
        action(arguments);
        return exit_status::done;
    });
}

} // namespace
} // namespace kelo

int main(int argc, char** argv) { return kelo::run(argc, argv); }
