/*
** Declarations shared by the files of the rkdd command-line tool: loading a
** schema file with its diagnostics kept apart, keyword tables, a view of a
** record's fields, and one entry point per command.
*/
#ifndef RKDD_TOOL_H
#define RKDD_TOOL_H

#include <cstdio>
#include <string>
#include <vector>

/* Exit statuses of every command. */
enum { EXIT_OK = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/* One imported schema file. */
struct Loaded {
  std::string path;
  int site = -1;        /* site number, or -1 when no site was made */
  bool imported = false; /* the import reported success */
  std::vector<std::string> diagnostics; /* what the library printed, a line each */
};

/* load.cc */
bool canOpen(const std::string &path, std::string *why);
bool openAll(const std::vector<std::string> &paths);
Loaded loadSchema(const std::string &path);
void relayDiagnostics(const Loaded &loaded);
std::vector<int> recordCodes(int site);
std::vector<int> dataCodes(int site);

/* names.cc */
const char *tagTypeName(int tagType);
const char *levelName(int level);
const char *kindName(int kind);
std::string nameOf(int code);
std::string fmtFloat(float value);

/* fields.cc */
enum Problem { FIELD_OK, FIELD_UNRESOLVED, FIELD_CYCLE, FIELD_NO_SIZE, FIELD_BAD_KIND };
struct FieldView {
  int code = 0;
  int kind = 0;
  int bitPos = 0;
  int offset = 0;
  int size = 0;        /* bytes the slot takes in the packed layout */
  int arrayCount = 1;  /* of the definition the slot holds */
  bool inLine = false; /* a record held in line */
  bool pointer = false;
  Problem problem = FIELD_OK;
};
std::vector<FieldView> recordFields(int record);
std::string fieldType(const FieldView &f);
const char *problemText(Problem p);

/* One function per command; each gives the exit status. */
int cmdShow(const std::vector<std::string> &files, bool json);
int cmdLayout(const std::string &file, const std::string &record);
int cmdCheck(const std::vector<std::string> &files);
int cmdHeader(const std::string &file, const std::string &output);
int cmdExport(const std::string &file, const std::string &output);
int cmdDiff(const std::string &oldFile, const std::string &newFile, bool json, bool breakingOnly);

#endif /* RKDD_TOOL_H */
