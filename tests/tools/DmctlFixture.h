// What the dmctl tests share: a temporary database and queue prefix, and
// running the real binary (through the cross emulator where there is one)
// with its exit status and the shape of its JSON checked in one call.
#ifndef DEVMGMT_TESTS_TOOLS_DMCTLFIXTURE_H_
#define DEVMGMT_TESTS_TOOLS_DMCTLFIXTURE_H_

#include <gtest/gtest.h>
#include <mqueue.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "platform/vmCfg.h"
#include "support/RunProgram.h"
#include "support/TempDatabase.h"

class Dmctl : public testing::Test {
 protected:
  void SetUp() override {
    prefix_ = "dmctltest" + std::to_string(getpid()) + "_";
    setenv("VM_MQ_PREFIX", prefix_.c_str(), 1);
    vmCfgUseDatabase(nullptr);  // this test's database, also when tests share the process
  }
  void TearDown() override { mq_unlink(("/" + prefix_ + "vm_mq_15").c_str()); }

  static ProgramResult Run(const std::vector<std::string>& args, const std::string& input = "") {
    return RunningProgram(DMCTL_PATH, args, input).Wait();
  }

  // Runs dmctl and expects its exit status and, when given, the shape of
  // what it printed.
  static ProgramResult Expect(int status, const std::vector<std::string>& args, const std::string& shape = "") {
    ProgramResult result = Run(args);
    // Printed escaped: a report must stay readable text whatever the output held.
    const std::string command = testing::PrintToString(args);
    EXPECT_EQ(status, result.status) << command << ": " << testing::PrintToString(result.err);
    EXPECT_TRUE(shape.empty() || shape == Shape(result.out)) << Shape(result.out) << " from " << command;
    return result;
  }

  static rapidjson::Document Json(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    EXPECT_FALSE(document.HasParseError()) << testing::PrintToString(text);
    return document;
  }

  // The document's shape as Python's json module reads it (strict UTF-8):
  // "{slot:int,name:str}", an array by its first element, "invalid" when it
  // is not JSON; of JSON lines, the first. Shapes are what scripts rely on.
  static std::string Shape(const std::string& text) {
    static const char* const kScript =
        "import json, sys\n"
        "def shape(v):\n"
        "    if isinstance(v, dict): return '{' + ','.join(k + ':' + shape(x) for k, x in v.items()) + '}'\n"
        "    if isinstance(v, list): return '[' + (shape(v[0]) if v else '') + ']'\n"
        "    return {bool: 'bool', int: 'int', float: 'float', str: 'str', type(None): 'null'}[type(v)]\n"
        "def load(text):\n"
        "    try: return json.loads(text)\n"
        "    except ValueError: return json.loads(text.split('\\n')[0])\n"
        "try: print(shape(load(sys.stdin.buffer.read().decode('utf-8'))), end='')\n"
        "except ValueError: print('invalid', end='')\n";
    return RunningProgram("python3", {"-c", kScript}, text, false).Wait().out;
  }

  // The lines of a stream (one JSON object each with --json).
  static std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  TempDatabase db_;
  std::string prefix_;
};

#endif  // DEVMGMT_TESTS_TOOLS_DMCTLFIXTURE_H_
