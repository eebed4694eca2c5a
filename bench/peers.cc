/*
** The peers' loads and the bare pass: each reads its file from disk and does
** all that a program would do to have the schema at hand.
*/
#include "peers.h"

#include <fcntl.h>
#include <google/protobuf/compiler/parser.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <cctype>
#include <cstdio>
#include <string_view>
#include <vector>

namespace peers {

namespace {

std::string readFile(const std::string &path) {
  std::string text;
  if (FILE *f = std::fopen(path.c_str(), "rb")) {
    char block[65536];
    for (size_t n; (n = std::fread(block, 1, sizeof block, f)) > 0;) text.append(block, n);
    std::fclose(f);
  }
  return text;
}

/* Counts what the tokenizer and the parser report. */
struct Errors : google::protobuf::io::ErrorCollector {
  int count = 0;
  void AddError(int, google::protobuf::io::ColumnNumber, const std::string &) override { count++; }
};

} // namespace

size_t barePass(const std::string &path) {
  std::string text = readFile(path);
  std::vector<std::string_view> words;
  size_t i = 0, n = text.size();
  while (i < n) {
    while (i < n && std::isspace(static_cast<unsigned char>(text[i]))) i++;
    size_t start = i;
    while (i < n && !std::isspace(static_cast<unsigned char>(text[i]))) i++;
    if (i > start) words.emplace_back(text.data() + start, i - start);
  }
  return words.size();
}

bool fbsLoad(const std::string &path, flatbuffers::Parser &parser) {
  std::string text = readFile(path);
  return !text.empty() && parser.Parse(text.c_str(), nullptr, path.c_str());
}

const google::protobuf::FileDescriptor *protoLoad(const std::string &path, const std::string &file,
                                                  google::protobuf::DescriptorPool &pool) {
  int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return nullptr;
  google::protobuf::io::FileInputStream input(fd);
  input.SetCloseOnDelete(true);
  Errors errors;
  google::protobuf::io::Tokenizer tokenizer(&input, &errors);
  google::protobuf::compiler::Parser parser;
  parser.RecordErrorsTo(&errors);
  google::protobuf::FileDescriptorProto proto;
  if (!parser.Parse(&tokenizer, &proto) || errors.count > 0) return nullptr;
  proto.set_name(file);
  return pool.BuildFile(proto);
}

} // namespace peers
