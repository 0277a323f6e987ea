// publish and unpublish: an image into the live sections of this machine, and out again.
#include <ostream>

#include "Agent/engine/kx_publish/publication.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/stop.h"
#include "tools/kxpolicy/tool.h"

namespace {

EkxExit Publish(const std::string& folder, SkxStreams& streams) {
  const SkxPolicyImage image = KxImage_Load(folder);
  CkxStop stop(streams);
  CkxPolicyPublication publication;
  std::string error;
  if (!publication.Publish(image, error)) throw CkxToolFault(EkxExit::SystemRefused, error);
  if (KxSharedMemory_OutlivesPublisher()) return EkxExit::Done;

  streams.err << "kxpolicy: published for as long as this command runs; an interrupt ends it" << std::endl;
  while (!stop.Wait(1000)) {
  }
  return EkxExit::Done;
}

EkxExit Unpublish() {
  CkxPolicyPublication publication;
  std::string error;
  if (!publication.Unpublish(error)) throw CkxToolFault(EkxExit::SystemRefused, error);
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Publish(CLI::App& app) {
  const auto folder = std::make_shared<std::string>();
  app.add_option("image", *folder, "Folder of a compiled image")->required();
  return [folder](SkxStreams& streams) { return Publish(*folder, streams); };
}

KxVerbAction KxVerb_Unpublish(CLI::App& /*app*/) {
  return [](SkxStreams& /*streams*/) { return Unpublish(); };
}
