// The built program on the samples of the tree.
#include "tests/host/transcript.h"

namespace zdr::test {
namespace {

TEST(ZdrProgram, ErrorsAreOneLineAndAnExitCode) {
  expect_transcript("errors");
}

TEST(ZdrProgram, PlaysAndListsSamples) {
  expect_transcript("play");
}

TEST(ZdrProgram, VerifiesFilesFoldersAndManifests) {
  expect_transcript("verify");
}

TEST(ZdrProgram, DrawsPicturesAlsoOfDamagedFiles) {
  expect_transcript("plot");
}

TEST(ZdrProgram, WritesIntoFoldersOfOthersAndNeverOverAnInput) {
  expect_transcript("outputs");
}

TEST(ZdrProgram, ReportsReadsThatFail) {
  expect_transcript("reads");
}

TEST(ZdrProgram, KeyFramesArePicturesOfTheStream) {
  expect_transcript("keyframe");
}

TEST(ZdrProgram, FindsItsFilterThroughTheRegistry) {
  expect_transcript("registry");
}

TEST(ZdrProgram, GivesUpAnUnresponsiveFilter) {
  expect_transcript("unresponsive");
}

TEST(ZdrProgram, DocumentsListTheSameOptions) {
  expect_transcript("documents");
}

TEST(ZdrProgram, ShowsColoursAndProgressOnTerminalsAndObeysSignals) {
  expect_transcript("terminal");
}

}  // namespace
}  // namespace zdr::test
