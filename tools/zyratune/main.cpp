// zyratune: looks inside tuning binaries, builds them from JSON, changes and compares them,
// and talks to the live tuning service. Exit codes: 0 done, 1 bad input (file, values,
// connection), 2 bad command line; diff answers 0 equal, 1 different, 2 bad input.
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "bundled_sample.h"
#include "commands.h"
#include "opened_binary.h"
#include "parser/foundation/parser_banner.h"
#include "tool_error.h"
#include "zyra/log.h"

namespace {

using namespace zyratune;

// The library logs what it refuses; the tool reports it in its own error line instead.
void DiscardLog(void*, uint64_t, const char*, uint32_t, const char*) {}

// Subcommands run after parsing, so that their errors do not pass as usage errors.
std::function<int()> g_run;
// --schema-dir of the command run, which binaries are opened with.
std::vector<std::string> g_schemaDirs;

void AddCommands(CLI::App& app) {
    static std::string file, other, modePath, moduleSpec, names, output, target;
    static bool asJson = false, raw = false;
    static std::vector<std::string> request, assignments;
    // Every command that reads a binary reads run-time schemas too.
    auto readsBinaries = [](CLI::App* command) {
        command->add_option("--schema-dir", g_schemaDirs,
                            "directory of run-time schemas for opaque modules (repeatable)")
            ->allow_extra_args(false);
    };

    CLI::App* inspect = app.add_subcommand(
        "inspect", "Header, sections, mode tree and modules of a binary (default: the sample)");
    inspect->add_option("FILE", file, "tuning binary");
    readsBinaries(inspect);
    inspect->callback([] {
        g_run = [] { return Inspect(file.empty() ? BundledSample() : file, std::cout); };
    });

    CLI::App* get = app.add_subcommand("get", "Values of a module or field, as a tuning client "
                                              "reads them");
    get->add_option("FILE", file, "tuning binary")->required();
    get->add_option("MODEPATH", modePath, "mode path, e.g. Default|Usecase.Snapshot")->required();
    get->add_option("MODULE", moduleSpec, "MODULE[.FIELD...]")->required();
    get->add_option("NAMES", names, "fields of the module, joined by ','");
    get->add_flag("--raw", raw, "the module's bytes as hex, 32 a line");
    readsBinaries(get);
    get->callback([] {
        g_run = [] { return Get(file, modePath, moduleSpec, names, raw, std::cout); };
    });

    CLI::App* info = app.add_subcommand("info", "Modules of a mode, or fields of a module");
    info->add_option("FILE", file, "tuning binary")->required();
    info->add_option("MODEPATH", modePath, "mode path")->required();
    info->add_option("MODULE", moduleSpec, "MODULE[.PATH]");
    readsBinaries(info);
    info->callback([] { g_run = [] { return Info(file, modePath, moduleSpec, std::cout); }; });

    CLI::App* dump = app.add_subcommand("dump", "Every module of every mode");
    dump->add_option("FILE", file, "tuning binary")->required();
    dump->add_flag("--json", asJson, "the JSON description that build reads");
    readsBinaries(dump);
    dump->callback([] { g_run = [] { return Dump(file, asJson, std::cout); }; });

    CLI::App* build = app.add_subcommand("build", "Write a binary from a JSON description");
    build->add_option("INPUT", file, "JSON description")->required();
    build->add_option("-o,--output", output, "binary to write")->required();
    build->callback([] { g_run = [] { return Build(file, output, std::cout); }; });

    CLI::App* set = app.add_subcommand("set", "Write a copy of a binary with values changed");
    set->add_option("FILE", file, "tuning binary")->required();
    set->add_option("MODEPATH", modePath, "mode path, e.g. Default|Usecase.Snapshot")->required();
    set->add_option("ASSIGNMENTS", assignments, "MODULE.FIELD=VALUE ...")->required();
    set->add_option("-o,--output", output, "binary to write")->required();
    readsBinaries(set);
    set->callback([] {
        g_run = [] { return Set(file, modePath, assignments, output, std::cout); };
    });

    CLI::App* diff = app.add_subcommand("diff", "Where two binaries differ (exit 0 equal, "
                                                "1 different, 2 bad input)");
    diff->add_option("A", file, "tuning binary")->required();
    diff->add_option("B", other, "tuning binary")->required();
    diff->add_flag("--json", asJson, "the differences as JSON");
    readsBinaries(diff);
    diff->callback([] { g_run = [] { return Diff(file, other, asJson, std::cout); }; });

    CLI::App* serve = app.add_subcommand("serve", "Serve a binary to live tuning clients until "
                                                  "interrupted");
    serve->add_option("FILE", file, "tuning binary")->required();
    readsBinaries(serve);
    serve->callback([] { g_run = [] { return Serve(file, std::cout); }; });

    CLI::App* tune = app.add_subcommand("tune", "Send one live tuning request");
    tune->add_option("TARGET", target, "[HOST:]PORT")->required();
    tune->add_option("COMMAND", request, "device-info | active-modes | control-values | "
                                         "trigger-values | modes [PATH] | info PATH [MODULE] | "
                                         "get PATH MODULE [NAMES] | set PATH MODULE ASSIGNMENTS "
                                         "| custom [HEX]")
        ->required();
    tune->callback([] { g_run = [] { return Tune(target, request, std::cout); }; });
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"zyratune: looks inside camera tuning binaries and tunes a running camera"};
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string(kParameterParserBanner) +
                                          "\nlibzyrapdparser " + ZYRA_LIBRARY_VERSION);
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "show the library's log on stderr");
    AddCommands(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);  // --help and --version
    } catch (const CLI::ParseError& error) {
        std::cerr << "zyratune: " << error.what() << " (see zyratune --help)\n";
        return kExitUsage;
    }
    if (!verbose) {
        Zyra::Log::SetLogSink(&DiscardLog, nullptr);
    }
    UseSchemaDirectories(g_schemaDirs);
    try {
        return g_run();
    } catch (const ToolError& error) {
        std::cerr << "zyratune: " << error.what() << "\n";
        return error.ExitCode();
    } catch (const std::exception& error) {
        std::cerr << "zyratune: " << error.what() << "\n";
        return kExitBadInput;
    }
}
