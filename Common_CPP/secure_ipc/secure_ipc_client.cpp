#include "Common_CPP/secure_ipc/secure_ipc_client.h"

#include "Common_CPP/secure_ipc/frame_stream.h"

EkxSecureIpcResult CkxSecureIpcClient::Fail(EkxSecureIpcResult result) {
  Close();
  return result;
}

EkxSecureIpcResult CkxSecureIpcClient::Open(const SkxSecureIpcRequest& request, uint32_t timeout) {
  _clientName = request.clientName.ToString();
  _requestName = request.requestName.ToString();
  _channel = request.channel;
  _status = EkxReplyStatus::Answered;
  switch (KxSecurePipe_Connect(request.serverName, request.server, CkxDeadline::After(timeout), _pipe)) {
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

EkxSecureIpcResult CkxSecureIpcClient::Send(std::span<const unsigned char> body, uint32_t timeout) {
  const auto frame = KxFrame_Bytes(SkxRequestFrame{_channel, _requestName, _clientName, body});
  if (!frame) return Fail(EkxSecureIpcResult::CannotSend);
  switch (_pipe.Write(*frame, CkxDeadline::After(timeout))) {
    case EkxPipeResult::Done:
      return EkxSecureIpcResult::Done;
    case EkxPipeResult::TimedOut:
      return Fail(EkxSecureIpcResult::TimedOut);
    default:
      return Fail(EkxSecureIpcResult::CannotSend);
  }
}

EkxSecureIpcResult CkxSecureIpcClient::Receive(std::vector<unsigned char>& reply, uint32_t timeout) {
  std::vector<unsigned char> bytes;
  SkxReplyFrame frame;
  const EkxFrameReceipt receipt = KxFrame_Receive(_pipe, CkxDeadline::After(timeout), bytes, frame);
  Close();
  if (receipt == EkxFrameReceipt::TimedOut) return EkxSecureIpcResult::TimedOut;
  if (receipt != EkxFrameReceipt::Done) return EkxSecureIpcResult::BadReply;
  _status = frame.status;
  if (_status != EkxReplyStatus::Answered) return EkxSecureIpcResult::Refused;
  reply.assign(frame.body.begin(), frame.body.end());
  return EkxSecureIpcResult::Done;
}
