// serve: what the agent's service does, from an image: publishes it, answers the library's requests, follows the image
// as it changes on disk, and tells an administrator about it.
#include "tools/kxpolicy/served_agent.h"
#include "tools/kxpolicy/stop.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr uint32_t kLookMilliseconds = 200;

EkxExit Serve(const SkxServeOptions& options, SkxStreams& streams) {
  CkxStop stop(streams);
  streams.outMayClose = true;
  CkxServedAgent agent(options, streams);
  agent.Start();
  while (!stop.Wait(kLookMilliseconds)) agent.LookAtImage();
  agent.Stop();
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Serve(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<SkxServeOptions>();
  verb.Add("image", options->image, "Folder of a compiled image").Folder().Required();
  verb.Add("--keep", options->keep, "Folder that keeps the image in force and the one before, for after a restart")
      .Folder();
  verb.AddFlag("--empty", options->mayBeEmpty, "Also an image without policies, with which nothing applies any more");
  verb.AddFlag("--verbose", options->verbose, "One line for each request");
  verb.Footer(
      "Runs until it is interrupted. The image may be compiled again meanwhile.\n`kxpolicy status` and `kxpolicy "
      "rollback` ask it.");
  return [options](SkxStreams& streams) { return Serve(*options, streams); };
}
