// What the dmctl tests share: a temporary database and queue prefix, and
// running the real binary (through the cross emulator where there is one).
#ifndef DEVMGMT_TESTS_TOOLS_DMCTLFIXTURE_H_
#define DEVMGMT_TESTS_TOOLS_DMCTLFIXTURE_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/RunProgram.h"
#include "support/TempDatabase.h"

class Dmctl : public testing::Test {
 protected:
  void SetUp() override {
    prefix_ = "dmctltest" + std::to_string(getpid()) + "_";
    setenv("VM_MQ_PREFIX", prefix_.c_str(), 1);
  }
  void TearDown() override { mq_unlink(("/" + prefix_ + "vm_mq_15").c_str()); }

  static ProgramResult Run(const std::vector<std::string>& args, const std::string& input = "") {
    return RunProgram(DMCTL_PATH, args, input);
  }

  static rapidjson::Document Json(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    EXPECT_FALSE(document.HasParseError()) << text;
    return document;
  }

  // Waits until the listener has made its queue.
  bool QueueAppears() const {
    const std::string name = "/" + prefix_ + "vm_mq_15";
    for (int i = 0; i < 500; ++i) {
      const mqd_t queue = mq_open(name.c_str(), O_WRONLY | O_NONBLOCK);
      if (queue != static_cast<mqd_t>(-1)) {
        mq_close(queue);
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

  TempDatabase db_;
  std::string prefix_;
};

#endif  // DEVMGMT_TESTS_TOOLS_DMCTLFIXTURE_H_
