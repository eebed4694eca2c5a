/*
** rkdd: the command-line front door to the data dictionary. Defines the
** commands and their options, answers help and unknown commands, and hands
** each command to its own file.
*/
#include "tool.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

namespace {

/* Everything the command line can set. */
struct Args {
  std::vector<std::string> files;
  std::string file, record, output, oldFile, newFile;
  bool json = false, checkJson = false, sarif = false, breakingOnly = false;
  int timeoutMs = LSP_TIMEOUT_MS;
};

const char *const kStdinHelp = "Schema file; - reads standard input";
const char *const kFilesHelp =
  "Schema files, each imported as a site of its own; - reads standard input";

const char *const kFooter =
  "A FILE of - reads standard input (at most once per command line).\n"
  "Exit status: 1 when a file read has an error (what could be written is), when export "
  "cannot say all a site holds, or when diff finds a change that breaks; 2 for diff on a "
  "file with errors, for a usage error and for a file that does not open; 0 otherwise.";

void addShow(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand("show", "Print the records and data items of schema files");
  c->add_option("FILE", a.files, kFilesHelp)->required();
  c->add_flag("--json", a.json, "Print one JSON document instead of text");
}

void addLayout(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand("layout", "Draw the packed layout of one record");
  c->add_option("FILE", a.file, kStdinHelp)->required();
  c->add_option("RECORD", a.record, "Record name or code")->required();
}

void addCheck(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand(
    "check", "Report the diagnostics of schema files on standard error, one line each "
             "(FILE:LINE:COLUMN: SEVERITY: TEXT [ID])");
  c->add_option("FILE", a.files, kFilesHelp)->required();
  CLI::Option *json = c->add_flag(
    "--json", a.checkJson, "Print the diagnostics as one JSON document on standard output");
  c->add_flag("--sarif", a.sarif, "Print the diagnostics as a SARIF 2.1.0 log on standard output")
    ->excludes(json);
  c->add_flag("--werror", reporting.werror, "Count warnings as errors");
}

void addHeader(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand(
    "header", "Write a C11 and C++ header with a packed struct per record and static assertions");
  c->add_option("FILE", a.file, kStdinHelp)->required();
  c->add_option("-o,--output", a.output, "Write the header to this file, not standard output");
}

void addExport(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand(
    "export", "Write the canonical schema text of a schema file: what its site holds, in code "
              "order. Comments and define values are not kept; what the text cannot say is "
              "warned about on standard error, and makes the exit status 1");
  c->add_option("FILE", a.file, kStdinHelp)->required();
  c->add_option("-o,--output", a.output, "Write the text to this file, not standard output");
}

void addDoc(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand(
    "doc", "Write reference pages of schema files, with a picture of each record's layout; "
           "pages an earlier run wrote and this one does not are removed");
  c->add_option("FILE", a.files, kFilesHelp)->required();
  c->add_option("-o,--output", a.output, "Folder for the pages (made when missing)")->required();
}

void addDiff(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand(
    "diff", "Compare two versions of a schema and say which changes break data written with "
            "the old one; exit 1 if any does, 2 if a file has errors (nothing is compared)");
  c->add_option("OLD", a.oldFile, "The old schema file (- for standard input)")->required();
  c->add_option("NEW", a.newFile, "The new schema file (- for standard input)")->required();
  c->add_flag("--json", a.json, "Print one JSON document instead of text");
  c->add_flag("--breaking", a.breakingOnly, "Print only the breaking changes");
}

/* rkdd lsp, and the child that the server runs for each analysis (hidden). */
void addLsp(CLI::App &app, Args &a) {
  CLI::App *c = app.add_subcommand(
    "lsp", "Serve editors as a language server on standard input and output: diagnostics as one "
           "types, hover with packed offsets and sizes, go to definition, symbols, completion");
  c->add_option("--timeout", a.timeoutMs, "Milliseconds one analysis of a text may take (default 10000)")
    ->check(CLI::PositiveNumber);
  app.add_subcommand("lsp-analyze", "")->group("");
}

/* The commands with their options, and what every command takes. */
void defineCommands(CLI::App &app, Args &a) {
  app.set_version_flag("--version", "rkdd " RKDD_VERSION);
  app.require_subcommand(1);
  app.failure_message([](const CLI::App *, const CLI::Error &e) {
    return "rkdd: " + std::string(e.what()) + "\nRun rkdd --help for more information.\n";
  });
  app.footer(kFooter);
  for (auto add : {addShow, addLayout, addCheck, addHeader, addExport, addDiff, addDoc, addLsp})
    add(app, a);
  for (CLI::App *command : app.get_subcommands([](CLI::App *) { return true; })) {
    command->footer(kFooter);
    CLI::Option *quiet = command->add_flag("-q,--quiet", reporting.quiet,
                                           "Leave out warnings and notes; errors stay");
    command->add_flag("-v,--verbose", reporting.verbose, "Show notes too")->excludes(quiet);
  }
  /* decode and encode: their own footer and flags (tools/records.cc). */
  addRecordCommands(app);
}

/* Edits (insertions, deletions, substitutions) from a to b. */
size_t editDistance(const std::string &a, const std::string &b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); j++) row[j] = j;
  for (size_t i = 1; i <= a.size(); i++) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); j++) {
      size_t up = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
      diagonal = up;
    }
  }
  return row[b.size()];
}

/* The message for a word that names no command, with the nearest command
** when one is close. */
std::string unknownCommand(const CLI::App &app, const std::string &word) {
  std::string best;
  size_t bestDistance = 3; /* farther than two edits is no suggestion */
  for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
    if (command->get_group().empty()) continue; /* hidden: lsp-analyze */
    size_t d = editDistance(word, command->get_name());
    if (d < bestDistance) {
      best = command->get_name();
      bestDistance = d;
    }
  }
  std::string text = "rkdd: unknown command '" + word + "'";
  return text + (best.empty() ? "; run rkdd --help for the commands" : "; did you mean '" + best + "'?");
}

/* The command of this name, or null. */
CLI::App *commandNamed(CLI::App &app, const std::string &name) {
  for (CLI::App *command : app.get_subcommands([](CLI::App *) { return true; }))
    if (command->get_name() == name) return command;
  return nullptr;
}

/* The first word that is not an option; what the command line asks for. */
int commandAt(int argc, char **argv) {
  for (int i = 1; i < argc; i++)
    if (argv[i][0] != '-') return i;
  return 0;
}

/* Help and unknown commands, before the parser sees them: -1 when the
** command line goes on to the parser, else the exit status. */
int answerBeforeParsing(CLI::App &app, int argc, char **argv) {
  if (argc == 1) {
    std::cerr << "rkdd: a command is required; run rkdd --help for the commands\n";
    return EXIT_USAGE;
  }
  int at = commandAt(argc, argv);
  if (at == 0) return -1;
  std::string word = argv[at];
  if (word == "help") {
    if (at + 1 >= argc) {
      std::cout << app.help();
      return EXIT_OK;
    }
    word = argv[at + 1];
    if (CLI::App *command = commandNamed(app, word); command && at + 2 == argc) {
      std::cout << command->help("rkdd");
      return EXIT_OK;
    }
    if (at + 2 != argc) {
      std::cerr << "rkdd: help takes one command at most\n";
      return EXIT_USAGE;
    }
  }
  if (commandNamed(app, word) != nullptr) return -1;
  std::cerr << unknownCommand(app, word) << "\n";
  return EXIT_USAGE;
}

/* Standard input holds one schema and is read once. */
bool stdinNamedOnce(const Args &a) {
  long named = std::count(a.files.begin(), a.files.end(), STDIN_ARG) + (a.file == STDIN_ARG) +
               (a.oldFile == STDIN_ARG) + (a.newFile == STDIN_ARG);
  if (named <= 1) return true;
  std::cerr << "rkdd: standard input (-) may be named only once\n";
  return false;
}

int runCommand(const CLI::App &app, const Args &a) {
  const std::string name = app.get_subcommands().front()->get_name();
  if (name == "show") return cmdShow(a.files, a.json);
  if (name == "layout") return cmdLayout(a.file, a.record);
  if (name == "check")
    return cmdCheck(a.files, a.checkJson ? CHECK_JSON : a.sarif ? CHECK_SARIF : CHECK_TEXT);
  if (name == "header") return cmdHeader(a.file, a.output);
  if (name == "export") return cmdExport(a.file, a.output);
  if (name == "diff") return cmdDiff(a.oldFile, a.newFile, a.json, a.breakingOnly);
  if (name == "lsp") return cmdLsp(a.timeoutMs);
  if (name == "lsp-analyze") return cmdLspAnalyze();
  return cmdDoc(a.files, a.output);
}

} // namespace

int main(int argc, char **argv) {
  CLI::App app{"rkdd: see what schema files become in the data dictionary"};
  app.name("rkdd");
  Args args;
  defineCommands(app, args);
  if (int status = answerBeforeParsing(app, argc, argv); status >= 0) return status;
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) {
    return app.exit(e) == 0 ? EXIT_OK : EXIT_USAGE;
  }
  if (!stdinNamedOnce(args)) return EXIT_USAGE;
  if (int status = runRecordCommands(); status >= 0) return status;
  return runCommand(app, args);
}
