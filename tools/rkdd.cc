/*
** rkdd: the command-line front door to the data dictionary. Parses the
** command line and hands each command to its own file.
*/
#include "tool.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

namespace {

/* rkdd lsp, and the child that the server runs for each analysis (hidden). */
std::pair<CLI::App *, CLI::App *> addLspCommands(CLI::App &app, int &timeoutMs) {
  CLI::App *lsp = app.add_subcommand(
    "lsp", "Serve editors as a language server on standard input and output: diagnostics as one "
           "types, hover with packed offsets and sizes, go to definition, symbols, completion");
  lsp->add_option("--timeout", timeoutMs, "Milliseconds one analysis of a text may take (default 10000)")
    ->check(CLI::PositiveNumber);
  return {lsp, app.add_subcommand("lsp-analyze", "")->group("")};
}

} // namespace

int main(int argc, char **argv) {
  CLI::App app{"rkdd: see what schema files become in the data dictionary"};
  app.set_version_flag("--version", "rkdd " RKDD_VERSION);
  app.require_subcommand(1);

  std::vector<std::string> files;
  std::string file, record, output;
  bool json = false;

  CLI::App *show = app.add_subcommand("show", "Print the records and data items of schema files");
  show->add_option("FILE", files,
                   "Schema files, each imported as a site of its own; - reads standard input")
    ->required();
  show->add_flag("--json", json, "Print one JSON document instead of text");

  CLI::App *layout = app.add_subcommand("layout", "Draw the packed layout of one record");
  layout->add_option("FILE", file, "Schema file; - reads standard input")->required();
  layout->add_option("RECORD", record, "Record name or code")->required();

  CLI::App *check = app.add_subcommand(
    "check", "Report the diagnostics of schema files on standard error, one line each "
             "(FILE:LINE:COLUMN: SEVERITY: TEXT [ID])");
  check->add_option("FILE", files, "Schema files; - reads standard input")->required();
  bool checkJson = false, sarif = false;
  CLI::Option *jsonFlag = check->add_flag(
    "--json", checkJson, "Print the diagnostics as one JSON document on standard output");
  check->add_flag("--sarif", sarif, "Print the diagnostics as a SARIF 2.1.0 log on standard output")
    ->excludes(jsonFlag);
  check->add_flag("--werror", reporting.werror, "Count warnings as errors");

  CLI::App *header = app.add_subcommand(
    "header", "Write a C11 header with a packed struct per record and static assertions");
  header->add_option("FILE", file, "Schema file; - reads standard input")->required();
  header->add_option("-o,--output", output, "Write the header to this file, not standard output");

  CLI::App *exporter = app.add_subcommand(
    "export", "Write the canonical schema text of a schema file: what its site holds, in code "
              "order. Comments and define values are not kept; what the text cannot say is "
              "warned about on standard error, and makes the exit status 1");
  exporter->add_option("FILE", file, "Schema file; - reads standard input")->required();
  exporter->add_option("-o,--output", output, "Write the text to this file, not standard output");

  CLI::App *doc = app.add_subcommand(
    "doc", "Write reference pages of schema files, with a picture of each record's layout");
  doc->add_option("FILE", files, "Schema files, each imported as a site of its own")->required();
  doc->add_option("-o,--output", output, "Folder for the pages (made when missing)")->required();

  std::string oldFile, newFile;
  bool breakingOnly = false;
  CLI::App *diff = app.add_subcommand(
    "diff", "Compare two versions of a schema and say which changes break data written with "
            "the old one; exit 1 if any does, 2 if a file has errors");
  diff->add_option("OLD", oldFile, "The old schema file (- for standard input)")->required();
  diff->add_option("NEW", newFile, "The new schema file (- for standard input)")->required();
  diff->add_flag("--json", json, "Print one JSON document instead of text");
  diff->add_flag("--breaking", breakingOnly, "Print only the breaking changes");

  int timeoutMs = LSP_TIMEOUT_MS;
  auto [lsp, analyze] = addLspCommands(app, timeoutMs);

  const std::string footer =
    "A FILE of - reads standard input (at most once per command line).\n"
    "Exit status: 1 when a file read has an error (what could be written is), when export "
    "cannot say all a site holds, or when diff finds a change that breaks; 2 for diff on a "
    "file with errors, for a usage error and for a file that does not open; 0 otherwise.";
  app.footer(footer);
  for (CLI::App *command : {show, layout, check, header, exporter, diff, doc}) {
    command->footer(footer);
    CLI::Option *quiet = command->add_flag("-q,--quiet", reporting.quiet,
                                           "Leave out warnings and notes; errors stay");
    command->add_flag("-v,--verbose", reporting.verbose, "Show notes too")->excludes(quiet);
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) {
    int code = app.exit(e);
    return code == 0 ? EXIT_OK : EXIT_USAGE;
  }
  /* Standard input holds one schema and is read once. */
  if (std::count(files.begin(), files.end(), STDIN_ARG) + (file == STDIN_ARG) +
        (oldFile == STDIN_ARG) + (newFile == STDIN_ARG) > 1) {
    std::cerr << "rkdd: standard input (-) may be named only once\n";
    return EXIT_USAGE;
  }

  if (*show) return cmdShow(files, json);
  if (*layout) return cmdLayout(file, record);
  if (*check) return cmdCheck(files, checkJson ? CHECK_JSON : sarif ? CHECK_SARIF : CHECK_TEXT);
  if (*exporter) return cmdExport(file, output);
  if (*diff) return cmdDiff(oldFile, newFile, json, breakingOnly);
  if (*doc) return cmdDoc(files, output);
  if (*lsp) return cmdLsp(timeoutMs);
  if (*analyze) return cmdLspAnalyze();
  return cmdHeader(file, output);
}
