// korvane: the command-line host of the library. It inspects what the plug-ins bring
// (info, plugins, detect) and runs acquisition setups written as a one-line
// description (launch, snapshot) or as a run file (run). Exit codes: 0 success, 1 a
// failure of the system (a device that does not start, an output that cannot be
// written), 2 a usage error (the command line, a description, a run file), 130 a run
// cut short by Ctrl-C (its files are complete and the summary is printed).

#include <korvane/plugins/PluginLoader.h>
#include <korvane/process/StorageManager.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Inspect.h"
#include "LaunchDescription.h"
#include "Pipeline.h"
#include "TerminalLogWriter.h"

using namespace KorvaneTool;

namespace {

const char* const kDefaultDescription =
    "SimCamera Width=640 Height=480 SampleType=uint8 FrameRate=0"
    " ! Threshold Level=100 ! Flip Direction=Vertical ! PngStorage File=";

// Prints message with the line of the text it concerns and a caret under its column.
void printError(const Setup& setup, const std::string& message, std::size_t offset) {
    const TextPosition at = positionIn(setup.text, offset);
    if (setup.origin == "description") {
        std::fprintf(stderr, "korvane: %s\n", message.c_str());
    } else {
        std::fprintf(stderr, "korvane: %s:%zu:%zu: %s\n", setup.origin.c_str(), at.line, at.column,
                     message.c_str());
    }
    // The caret's indent keeps the line's tabs, so it lines up on any tab width.
    std::string indent = at.lineText.substr(0, at.column - 1);
    for (char& c : indent) c = c == '\t' ? '\t' : ' ';
    std::fprintf(stderr, "  %s\n  %s^\n", at.lineText.c_str(), indent.c_str());
}

// The options of the command line given explicitly win over a run file's [Run] section.
struct CommandOptions {
    RunOptions values;
    const CLI::App* command = nullptr;  // not owned; null: every value counts as given

    bool given(const char* option) const { return !command || command->count(option) > 0; }
};

int runSetup(const Setup& setup, const CommandOptions& cli) {
    RunOptions options;
    if (ToolError error = applyRunSection(setup, options)) {
        printError(setup, error.message, error.offset);
        return error.exitCode;
    }
    if (cli.given("--frames")) options.frames = cli.values.frames;
    if (cli.given("--duration")) options.duration = cli.values.duration;
    if (cli.given("--buffer")) options.bufferSize = cli.values.bufferSize;
    if (cli.given("--timeout")) options.stallSeconds = cli.values.stallSeconds;
    if (cli.given("--live")) options.live = cli.values.live;
    options.progress = cli.values.progress;
    Pipeline pipeline;
    if (ToolError error = pipeline.build(setup, options)) {
        if (error.hasOffset) {
            printError(setup, error.message, error.offset);
        } else {
            std::fprintf(stderr, "korvane: %s\n", error.message.c_str());
        }
        return error.exitCode;
    }
    return pipeline.run();
}

int launch(const std::string& description, const CommandOptions& options) {
    Setup setup;
    if (ParseError error = parseDescription(description, setup)) {
        printError(setup, "syntax error: " + error.message, error.offset);
        return 2;
    }
    return runSetup(setup, options);
}

int runFile(const std::string& file, const CommandOptions& options) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "korvane: cannot read the run file %s\n", file.c_str());
        return 2;
    }
    std::stringstream text;
    text << in.rdbuf();
    Setup setup;
    setup.origin = file;
    if (ParseError error = parseRunFile(text.str(), setup)) {
        printError(setup, "syntax error: " + error.message, error.offset);
        return 2;
    }
    return runSetup(setup, options);
}

// A description value in double quotes, for names with spaces or '!'.
std::string quotedValue(const std::string& text) {
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

int snapshot(const std::string& device, const std::string& file, double stallSeconds) {
    Korvane::PluginLoader::get()->loadAll();
    Korvane::StorageManager* storages = Korvane::StorageManager::get();
    std::string storageType;
    for (const std::string& type : storages->typeList()) {
        std::string name = "korvane_probe";
        Korvane::StorageRefPtr storage = storages->create(type.c_str(), name, true);
        const bool fits = storage.isValid() && storage->canSave(file.c_str());
        storages->releaseInstance(name.c_str());
        if (fits) {
            storageType = type;
            break;
        }
    }
    if (storageType.empty()) {
        std::fprintf(stderr, "korvane: no storage writes files like %s; storages: %s\n",
                     file.c_str(),
                     [&] {
                         std::string list;
                         for (const std::string& t : storages->typeList()) list += " " + t;
                         return list;
                     }()
                         .c_str());
        return 2;
    }
    CommandOptions options;
    options.values.frames = 1;
    options.values.stallSeconds = stallSeconds;
    return launch(device + " ! " + storageType + " File=" + quotedValue(file), options);
}

void addRunOptions(CLI::App& command, RunOptions& options) {
    command.add_option("--frames,-n", options.frames, "Stop after this many frames (0: no limit)");
    command.add_option("--duration,-t", options.duration, "Stop after this many seconds")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--buffer", options.bufferSize, "Frames each FIFO holds")
        ->check(CLI::Range(1u, 100000u));
    command
        .add_option("--timeout", options.stallSeconds,
                    "Fail when no frame arrives for this many seconds")
        ->check(CLI::PositiveNumber);
    command.add_flag("--progress", options.progress,
                     "Print progress lines also when stderr is not a terminal");
    command.add_flag("--live", options.live,
                     "The camera runs at its own frame rate and drops the frames the chain "
                     "cannot take, instead of waiting for it");
}

bool isCommand(CLI::App& app, const std::string& word) {
    return !app.get_subcommands([&](CLI::App* command) { return command->check_name(word); })
                .empty();
}

std::string joinedWords(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"korvane: inspect the plug-ins and run acquisition setups"};
    app.require_subcommand(1);
    app.failure_message(CLI::FailureMessage::help);

    app.add_subcommand("info", "Library name and version, build record and paths");

    std::string pluginName;
    CLI::App* plugins = app.add_subcommand("plugins", "Modules, plug-ins and their components");
    plugins->add_option("NAME", pluginName, "One plug-in or component in detail");

    app.add_subcommand("detect", "Frame grabbers and the cameras behind them");

    CommandOptions launchOptions;
    std::vector<std::string> descriptionWords;
    std::string outputDir = "korvane-output";
    CLI::App* launchCommand = app.add_subcommand(
        "launch", "Run a setup from a description; without one, the built-in demo");
    launchCommand->add_option("DESCRIPTION", descriptionWords,
                              "e.g. 'SimCamera Width=640 ! Flip ! PngStorage File=out/f_%05d.png'");
    launchCommand
        ->add_option("--output,-o", outputDir, "Directory of the built-in demo's PNG files")
        ->capture_default_str();
    addRunOptions(*launchCommand, launchOptions.values);  // no run file: every value counts

    CommandOptions fileOptions;
    std::string runFileName;
    CLI::App* runCommand = app.add_subcommand("run", "Run a setup from a run file");
    runCommand->add_option("FILE", runFileName, "The run file")->required();
    addRunOptions(*runCommand, fileOptions.values);
    fileOptions.command = runCommand;

    double snapshotTimeout = 10;
    std::string device, file;
    CLI::App* snapshotCommand = app.add_subcommand("snapshot", "Save one frame of a device");
    snapshotCommand->add_option("DEVICE", device, "A device type, alias or grabber, with settings")
        ->required();
    snapshotCommand->add_option("FILE", file, "The file; its extension picks the storage")
        ->required();
    snapshotCommand
        ->add_option("--timeout", snapshotTimeout,
                     "Fail when no frame arrives for this many seconds")
        ->check(CLI::PositiveNumber);

    // CLI11 reports a missing subcommand before an unexpected word; name it instead.
    if (argc > 1 && argv[1][0] != '-' && !isCommand(app, argv[1])) {
        std::fprintf(stderr,
                     "korvane: unknown command \"%s\"; commands: info, plugins, detect, launch, "
                     "run, snapshot (korvane --help tells more)\n",
                     argv[1]);
        return 2;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error);
        return code == 0 ? 0 : 2;
    }

    if (app.got_subcommand("info")) return showInfo();
    // Warnings and errors of the library and the plug-ins go to stderr as well.
    showLogOnTerminal();
    int code = 0;
    if (app.got_subcommand("plugins")) {
        code = showPlugins(pluginName);
    } else if (app.got_subcommand("detect")) {
        code = showDetected();
    } else if (app.got_subcommand("snapshot")) {
        code = snapshot(device, file, snapshotTimeout);
    } else if (app.got_subcommand("run")) {
        code = runFile(runFileName, fileOptions);
    } else {
        std::string description = joinedWords(descriptionWords);
        if (launchCommand->count("DESCRIPTION") == 0) {
            description = kDefaultDescription + quotedValue(outputDir + "/frame_%05d.png");
            if (launchCommand->count("--frames") == 0) launchOptions.values.frames = 100;
            std::printf("running: korvane launch '%s' --frames %llu\n", description.c_str(),
                        launchOptions.values.frames);
            std::fflush(stdout);
        }
        code = launch(description, launchOptions);
    }
    flushLog();
    return code;
}
