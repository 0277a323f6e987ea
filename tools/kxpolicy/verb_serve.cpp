// serve: what the agent's service does, from an image: publishes it, answers the library's requests, follows the image
// as it changes on disk, and tells an administrator about it.
#include "Common_CPP/service_manager/service_manager.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/served_agent.h"
#include "tools/kxpolicy/stop.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr uint32_t kLookMilliseconds = 200;

EkxExit Serve(const SkxServeOptions& options, SkxStreams& streams) {
  CkxStop stop(streams);
  CkxServiceManager manager;
  streams.outMayClose = true;
  CkxServedAgent agent(options, streams);
  agent.Start();
  manager.Ready(agent.StateLine());
  for (EkxWake wake = stop.Next(kLookMilliseconds); wake != EkxWake::Stop; wake = stop.Next(kLookMilliseconds)) {
    if (wake == EkxWake::Reload) {
      manager.Reloading();
      agent.Reload();
      manager.Ready(agent.StateLine());
    }
    agent.LookAtImage();
    manager.State(agent.StateLine());
    manager.Beat();
  }
  manager.Stopping();
  agent.Stop();
  return EkxExit::Done;
}

/// As the service that the system's manager has started. Its streams lead nowhere: faults are in the status.
EkxExit ServeManaged(const SkxServeOptions& options, SkxStreams& streams) {
  const std::optional<int> result = KxServiceManager_Run([&] {
    try {
      return static_cast<int>(Serve(options, streams));
    } catch (const CkxToolFault& fault) {
      streams.err << "kxpolicy: " << KxText_Printable(fault.what()) << std::endl;
      return static_cast<int>(fault.Code());
    } catch (const std::exception&) {
      return static_cast<int>(EkxExit::SystemRefused);
    }
  });
  if (!result) {
    throw CkxToolFault(EkxExit::SystemRefused,
                       "--service is for the service control manager of Windows, which did not start this process");
  }
  return static_cast<EkxExit>(*result);
}

}  // namespace

KxVerbAction KxVerb_Serve(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<SkxServeOptions>();
  const auto isManaged = std::make_shared<bool>(false);
  verb.Add("image", options->image, "Folder of a compiled image").Folder().Required();
  verb.Add("--keep", options->keep, "Folder that keeps the image in force and the one before, for after a restart")
      .Folder();
  options->signature.AddTo(verb);
  verb.AddFlag("--empty", options->mayBeEmpty, "Also an image without policies, with which nothing applies any more");
  verb.AddFlag("--verbose", options->verbose, "One line for each request");
  verb.AddFlag("--service", *isManaged, "As a service that the service control manager of Windows starts");
  verb.Footer(
      "Runs until it is interrupted. The image may be compiled again meanwhile.\n`kxpolicy status` and `kxpolicy "
      "rollback` ask it.");
  return [options, isManaged](SkxStreams& streams) {
    return *isManaged ? ServeManaged(*options, streams) : Serve(*options, streams);
  };
}
