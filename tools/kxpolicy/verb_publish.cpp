// publish and unpublish: an image into the live sections of this machine, and out again.
#include <ostream>

#include "Agent/engine/kx_publish/service/publication.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/stop.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct PublishOptions {
  std::string image;
  SkxSignatureOptions signature;
  bool mayBeEmpty = false;
};

EkxExit Publish(const PublishOptions& options, SkxStreams& streams) {
  const CkxSignatureDemand demand(options.signature);
  const SkxPublishableImage publishable =
      KxImage_ToPublish(KxImage_Load(options.image), options.image, demand, options.mayBeEmpty);
  CkxStop stop(streams);
  CkxPolicyPublication publication;
  std::string error;
  if (!publication.Publish(publishable.image, error)) throw CkxToolFault(EkxExit::SystemRefused, error);
  streams.out << publishable.line << std::endl;
  if (KxSharedMemory_OutlivesPublisher()) return EkxExit::Done;

  streams.outMayClose = true;
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

KxVerbAction KxVerb_Publish(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<PublishOptions>();
  verb.Add("image", options->image, "Folder of a compiled image").Folder().Required();
  options->signature.AddTo(verb);
  verb.AddFlag("--empty", options->mayBeEmpty, "Also an image without policies, with which nothing applies any more");
  return [options](SkxStreams& streams) { return Publish(*options, streams); };
}

KxVerbAction KxVerb_Unpublish(const CkxVerbOptions& /*verb*/) {
  return [](SkxStreams& /*streams*/) { return Unpublish(); };
}
