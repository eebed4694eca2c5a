/*
** What the rkdd benchmarks are set beside: loading a schema with FlatBuffers'
** parser and with protobuf's parser and descriptor pool, and a bare pass that
** only reads a file and splits it into words.
*/
#ifndef RKDD_BENCH_PEERS_H
#define RKDD_BENCH_PEERS_H

#include <flatbuffers/idl.h>
#include <google/protobuf/descriptor.h>

#include <string>

namespace peers {

/* The words of the file; what the bare pass gives for a check. */
size_t barePass(const std::string &path);

/* Parses the .fbs file into the parser; false on a parse error. */
bool fbsLoad(const std::string &path, flatbuffers::Parser &parser);

/* Parses the .proto file and builds it into the pool under the name file;
** null on an error. */
const google::protobuf::FileDescriptor *protoLoad(const std::string &path, const std::string &file,
                                                  google::protobuf::DescriptorPool &pool);

} // namespace peers

#endif
