#include <kx_publish/document_error.h>

std::string SkxDocumentError::Text() const {
  return (document.empty() ? "" : document + ": ") + (pointer.empty() ? "" : pointer + ": ") + message;
}
