#include "host/run/records.h"

#include <gtest/gtest.h>

namespace kelvo::host {
namespace {

TEST(Records, AreOneLineOfJsonEach) {
  FileRecord record;
  record.outcome = Outcome::rewritten;
  record.frames = 2;
  record.sourceDepth = 16;
  record.writtenDepth = 8;
  record.seconds = 0.12345678;
  record.warnings = "Warning: w";
  EXPECT_EQ(jsonRecord(record, "a \"b\"\n", "a \"b\"\n", false),
            R"({"path":"a \"b\"\n","result":"rewritten","frames":2,"depth":8,"sourceDepth":16,)"
            R"("seconds":0.123457,"message":"Warning: w"})"
            "\n");
}

TEST(Records, TellErrorsBeforeWarnings) {
  FileRecord record;
  record.outcome = Outcome::failed;
  record.warnings = "Warning: w";
  record.errors = "Error: e";
  EXPECT_EQ(jsonRecord(record, "a", "b", true),
            R"({"path":"a","result":"failed","output":"b","dryRun":true,"frames":0,"depth":0,)"
            R"("sourceDepth":0,"seconds":0.0,"message":"Error: e"})"
            "\n");
}

}  // namespace
}  // namespace kelvo::host
