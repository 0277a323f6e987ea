// message: the texts that users are shown, as policies carry them.
#include <kx_util/shared_configuration.h>

#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/host_name.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/configuration_input.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr size_t kMaxPieces = 2;  // that go into a text

struct MessageOptions {
  SkxConfigurationOptions configuration;
  std::string id;
  std::vector<std::string> texts;
  std::string language;
  std::string host;
  std::string requests;
};

struct MessageQuestion {
  std::string id;
  std::vector<KxWString> pieces;
};

bool GetText(const MessageQuestion& question, CkxUtilStr& text) {
  const char* const id = question.id.c_str();
  switch (question.pieces.size()) {
    case 0:
      return CkxSharedConfig::GetMessageW(id, text);
    case 1:
      return CkxSharedConfig::GetMessageW(id, question.pieces[0].c_str(), text);
    default:
      return CkxSharedConfig::GetMessageW(id, question.pieces[0].c_str(), question.pieces[1].c_str(), text);
  }
}

KxWString WideOfText(const std::string& text) {
  std::optional<KxWString> wide = KxText_FromUtf8(text);
  if (!wide) throw CkxToolFault(EkxExit::UnusableArguments, "\"" + text + "\" is not UTF-8");
  return *std::move(wide);
}

/// For whom the texts are, from the options: nothing for what this machine says.
struct MessageReaderOption {
  std::optional<KxWString> language;
  std::optional<KxWString> host;

  const WCHAR* Language() const { return language ? language->c_str() : nullptr; }
  const WCHAR* Host() const { return host ? host->c_str() : nullptr; }
};

MessageReaderOption ReaderOf(const MessageOptions& options) {
  MessageReaderOption reader;
  if (!options.language.empty()) reader.language = WideOfText(options.language);
  if (!options.host.empty()) reader.host = WideOfText(options.host);
  if (reader.host && reader.host->size() >= kKxHostNameUnits) {
    throw CkxToolFault(EkxExit::UnusableArguments, "--host: is longer than the name of a computer");
  }
  return reader;
}

/// As every text but the first of a process has it.
EkxExit ShowMessage(const MessageOptions& options, SkxStreams& streams) {
  if (options.texts.size() > kMaxPieces) throw CkxToolFault(EkxExit::UnusableArguments, "A text takes two others");
  MessageQuestion question = {.id = options.id, .pieces = {}};
  for (const std::string& text : options.texts) question.pieces.push_back(WideOfText(text));
  const MessageReaderOption reader = ReaderOf(options);
  CkxConfigurationInput input(options.configuration);
  const CkxMessageScope scope(reader.Language(), reader.Host());
  const CkxRefusal refusal;
  CkxUtilStr text;
  if (GetText(question, text) && GetText(question, text)) {
    streams.out << KxText_Printable(text.View()) << '\n';
    return EkxExit::Done;
  }
  const std::string fault = input.Fault(refusal);
  const std::string reason = options.id + ": " + (fault.empty() ? "there is no such message" : fault);
  streams.err << "kxpolicy: " + KxText_Printable(reason) + "\n";
  return input.Code(EkxExit::Failure);
}

MessageQuestion MessageQuestionOf(CkxJsonObject& in) {
  MessageQuestion question = {.id = in.Required<std::string>("messageId"), .pieces = {}};
  const json* const texts = in.Find("texts");
  if (texts == nullptr) return question;
  const std::string pointer = in.PointerTo("texts");
  if (!texts->is_array() || texts->size() > kMaxPieces) {
    throw CkxDocumentFault(pointer, "must be a list of at most two texts");
  }
  for (size_t i = 0; i < texts->size(); ++i) {
    question.pieces.push_back(KxJson_As<KxWString>((*texts)[i], KxJson_Pointer(pointer, i)));
  }
  return question;
}

/// `{"reset": true}` and nothing beside it.
ordered_json ResetMessages(CkxJsonObject& in) {
  if (!in.Required<bool>("reset")) throw CkxDocumentFault(in.PointerTo("reset"), "must be true");
  in.Finish();
  CkxSharedConfig::ResetMessageFormat();
  return {{"ok", true}};
}

ordered_json AnswerMessage(CkxJsonObject& in, CkxConfigurationInput& input) {
  if (in.Find("reset") != nullptr) return ResetMessages(in);
  const MessageQuestion question = MessageQuestionOf(in);
  in.Finish();  // a line that is no request is not a process's first text
  const CkxRefusal refusal;
  CkxUtilStr text;
  if (!GetText(question, text)) return KxConfiguration_NotFound(input.Fault(refusal));
  return {{"found", true}, {"text", KxText_ToUtf8(text.View())}};
}

EkxExit StreamMessages(const MessageOptions& options, SkxStreams& streams) {
  CkxInput requests(options.requests, streams.in);
  const MessageReaderOption reader = ReaderOf(options);
  CkxConfigurationInput input(options.configuration);
  const CkxMessageScope scope(reader.Language(), reader.Host());
  const EkxExit code = KxJsonStream_Run(requests.Stream(), streams,
                                        [&](CkxJsonObject& in) { return KxAnswer_Members(AnswerMessage(in, input)); });
  return input.Code(code);
}

}  // namespace

KxVerbAction KxVerb_Message(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<MessageOptions>();
  const CkxOption id = verb.Add("id", options->id, "Id of the message");
  verb.Add("texts", options->texts, "What goes in the places of %1 and %2");
  const CkxOption requests =
      verb.Add("--requests", options->requests, "Requests, one a line; - for standard input. In place of an id").File();
  verb.Add("--lang", options->language, "Language of the user, such as de-CH, in place of this machine's");
  verb.Add("--host", options->host, "Name of the computer, in place of this machine's");
  options->configuration.AddTo(verb);
  verb.Footer("Example: kxpolicy message Blocked setup.exe --image build/image --lang de");
  return [options, id, requests](SkxStreams& streams) {
    if (id.IsGiven() == requests.IsGiven()) {
      throw CkxToolFault(EkxExit::UnusableArguments, "message: exactly one of an id and --requests is needed");
    }
    return requests.IsGiven() ? StreamMessages(*options, streams) : ShowMessage(*options, streams);
  };
}
