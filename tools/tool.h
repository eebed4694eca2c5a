/*
** Declarations shared by the files of the rkdd command-line tool: loading a
** schema file with its diagnostics kept apart, showing them, names and
** numbers as text, a view of a record's fields, and one entry point per command.
*/
#ifndef RKDD_TOOL_H
#define RKDD_TOOL_H

#include <rkdd/kit.h>

#include <nlohmann/json_fwd.hpp>

#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

/* Exit statuses of every command; diff's 1 says that something breaks, and
** it gives EXIT_USAGE for a file with errors. */
enum { EXIT_OK = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/* "-" names standard input wherever a schema file is taken; diagnostics
** call it by this name. */
constexpr const char *STDIN_ARG = "-";
constexpr const char *STDIN_NAME = "<stdin>";

/* One message of the library about a file (or the tool's "import failed"). */
struct Diagnostic {
  std::string file;         /* the file's path as given, or STDIN_NAME */
  int line = 0, column = 0; /* 1-based, the column in bytes; 0 where none applies */
  int severity = DD_MESSAGE_ERROR;
  std::string id;      /* the kind of message, e.g. "unknown-option" */
  std::string message; /* one line, without the library's leading severity word */
};

/* One imported schema file. */
struct Loaded {
  std::string path; /* as given, or STDIN_NAME */
  int site = -1;        /* site number, or -1 when no site was made */
  bool imported = false; /* the import reported success */
  std::vector<Diagnostic> diagnostics; /* all the import reported, in order */
};

/* load.cc */
bool canOpen(const std::string &path, std::string *why);
bool openAll(const std::vector<std::string> &paths);
/* Imports path ("-" for standard input); name, when given, is what the
** diagnostics call the file. */
Loaded loadSchema(const std::string &path, const std::string &name = "");

/* report.cc: which diagnostics are shown (-q, -v) and which fail (--werror). */
struct Reporting {
  bool quiet = false;   /* errors only */
  bool verbose = false; /* notes too */
  bool werror = false;  /* warnings fail as errors do, and are shown under -q */
};
extern Reporting reporting;
bool shown(const Diagnostic &d);
bool failed(const Loaded &loaded); /* an error, a counted warning or a failed import */
std::string diagnosticLine(const Diagnostic &d);
void relayDiagnostics(const Loaded &loaded); /* the shown ones, on standard error */
nlohmann::ordered_json diagnosticsJson(const std::vector<Diagnostic> &list); /* the shown ones */
nlohmann::ordered_json sarifLog(const std::vector<Diagnostic> &list);

/* The version of the JSON documents the commands print, their "format"
** member; it grows when a member changes its meaning or goes away. */
constexpr int JSON_FORMAT = 1;

/* names.cc */
const char *kindName(int kind);
std::string nameOf(int code);
std::string fmtFloat(float value);
nlohmann::ordered_json floatJson(float value); /* "nan", "inf", "-inf" as strings */

/* fields.cc: the site a file became, as the companion library reads it. */
using Model = std::unique_ptr<kitModel, decltype(&kitModelFree)>;
Model readModel(int site);
std::span<const kitField> recordFields(const kitModel &model, int record);

/* One function per command; each gives the exit status. */
int cmdShow(const std::vector<std::string> &files, bool json);
int cmdLayout(const std::string &file, const std::string &record);
enum CheckFormat { CHECK_TEXT, CHECK_JSON, CHECK_SARIF };
int cmdCheck(const std::vector<std::string> &files, CheckFormat format);
int cmdHeader(const std::string &file, const std::string &output);
int cmdExport(const std::string &file, const std::string &output);
int cmdDiff(const std::string &oldFile, const std::string &newFile, bool json, bool breakingOnly);
int cmdDoc(const std::vector<std::string> &files, const std::string &outDir);
/* records.cc: decode and encode add their own subcommands and options; the
** run gives -1 when neither was chosen. */
namespace CLI { class App; }
void addRecordCommands(CLI::App &app);
int runRecordCommands();

constexpr int LSP_TIMEOUT_MS = 10000; /* what one analysis may take by default */
int cmdLsp(int timeoutMs);
int cmdLspAnalyze(); /* the child of one analysis: text on standard input, JSON out */

#endif /* RKDD_TOOL_H */
