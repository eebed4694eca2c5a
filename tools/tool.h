/*
** Declarations shared by the files of the rkdd command-line tool: loading a
** schema file with its diagnostics kept apart, names and numbers as text, a
** view of a record's fields, and one entry point per command.
*/
#ifndef RKDD_TOOL_H
#define RKDD_TOOL_H

#include <rkdd/kit.h>

#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

/* Exit statuses of every command. */
enum { EXIT_OK = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/* "-" names standard input wherever a schema file is taken; diagnostics
** call it by this name. */
constexpr const char *STDIN_ARG = "-";
constexpr const char *STDIN_NAME = "<stdin>";

/* One imported schema file. */
struct Loaded {
  std::string path; /* as given, or STDIN_NAME */
  int site = -1;        /* site number, or -1 when no site was made */
  bool imported = false; /* the import reported success */
  std::vector<std::string> diagnostics; /* what the library printed, a line each */
};

/* load.cc */
extern bool quietWarnings; /* -q: imports drop the library's WARNING lines */
bool canOpen(const std::string &path, std::string *why);
bool openAll(const std::vector<std::string> &paths);
Loaded loadSchema(const std::string &path);
void relayDiagnostics(const Loaded &loaded);

/* names.cc */
const char *kindName(int kind);
std::string nameOf(int code);
std::string fmtFloat(float value);

/* fields.cc: the site a file became, as the companion library reads it. */
using Model = std::unique_ptr<kitModel, decltype(&kitModelFree)>;
Model readModel(int site);
std::span<const kitField> recordFields(const kitModel &model, int record);
std::string fieldType(const kitField &f);

/* One function per command; each gives the exit status. */
int cmdShow(const std::vector<std::string> &files, bool json);
int cmdLayout(const std::string &file, const std::string &record);
int cmdCheck(const std::vector<std::string> &files);
int cmdHeader(const std::string &file, const std::string &output);
int cmdExport(const std::string &file, const std::string &output);
int cmdDiff(const std::string &oldFile, const std::string &newFile, bool json, bool breakingOnly);
int cmdDoc(const std::vector<std::string> &files, const std::string &outDir);

#endif /* RKDD_TOOL_H */
