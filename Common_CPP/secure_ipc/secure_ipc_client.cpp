#include "Common_CPP/secure_ipc/secure_ipc_client.h"

#include "Common_CPP/secure_ipc/frame_stream.h"

EkxSecureIpcResult CkxSecureIpcClient::Fail(EkxSecureIpcResult result) {
  Close();
  return result;
}

EkxSecureIpcResult CkxSecureIpcClient::Open(const SkxSecureIpcRequest& request, uint32_t timeout) {
  _clientName = request.clientName.ToString();
  _requestName = request.requestName.ToString();
  _image = request.claim.image.ToString();
  _signer = request.claim.signer.ToString();
  _channel = request.channel;
  _deadline = CkxDeadline::After(timeout);
  _status = EkxReplyStatus::Answered;
  switch (KxSecurePipe_Connect(request.serverName, request.server, _deadline, _pipe)) {
    case EkxPipeResult::Done:
      return EkxSecureIpcResult::Done;
    case EkxPipeResult::TimedOut:
      return EkxSecureIpcResult::TimedOut;
    case EkxPipeResult::WrongPeer:
      return EkxSecureIpcResult::WrongPeer;
    default:
      return EkxSecureIpcResult::CannotConnect;
  }
}

EkxSecureIpcResult CkxSecureIpcClient::Send(std::span<const unsigned char> body) {
  const auto frame = KxFrame_Bytes(SkxRequestFrame{_channel, _requestName, _clientName, {_image, _signer}, body});
  if (!frame) return Fail(EkxSecureIpcResult::CannotSend);
  switch (_pipe.Write(*frame, _deadline)) {
    case EkxPipeResult::Done:
      return EkxSecureIpcResult::Done;
    case EkxPipeResult::TimedOut:
      return Fail(EkxSecureIpcResult::TimedOut);
    case EkxPipeResult::Closed:
      return Fail(EkxSecureIpcResult::TurnedAway);
    default:
      return Fail(EkxSecureIpcResult::CannotSend);
  }
}

EkxSecureIpcResult CkxSecureIpcClient::Receive(std::vector<unsigned char>& reply) {
  std::vector<unsigned char> bytes;
  SkxReplyFrame frame;
  const EkxFrameReceipt receipt = KxFrame_Receive(_pipe, _deadline, bytes, frame);
  const bool wasOpen = _pipe.IsOpen();
  Close();
  if (!wasOpen) return EkxSecureIpcResult::BadReply;
  if (receipt == EkxFrameReceipt::TimedOut) return EkxSecureIpcResult::TimedOut;
  if (receipt == EkxFrameReceipt::Closed && bytes.empty()) return EkxSecureIpcResult::TurnedAway;
  if (receipt != EkxFrameReceipt::Done) return EkxSecureIpcResult::BadReply;
  _status = frame.status;
  if (_status != EkxReplyStatus::Answered) return EkxSecureIpcResult::Refused;
  reply.assign(frame.body.begin(), frame.body.end());
  return EkxSecureIpcResult::Done;
}
