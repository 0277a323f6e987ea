// XML for other programs, of any size, written from its beginning to its end by TinyXML2: reports.
//
//   CkxXmlWriter xml;
//   xml.Open("testsuite");
//   xml.Attribute("name", name);
//   xml.Close();
//   out << xml.Text();
//
// What XML has no place for is U+FFFD: controls but for tabulators and line ends, U+FFFE and U+FFFF, and bytes that are
// no UTF-8. Line ends in attributes are blanks to whoever reads them.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tinyxml2 {
class XMLPrinter;
}

class CkxXmlWriter {
 public:
  /// With a declaration.
  CkxXmlWriter();
  ~CkxXmlWriter();
  CkxXmlWriter(const CkxXmlWriter&) = delete;
  CkxXmlWriter& operator=(const CkxXmlWriter&) = delete;

  void Open(const char* element);
  void Attribute(const char* name, std::string_view utf8);  ///< before anything else of the element
  void Content(std::string_view utf8);
  void Close();  ///< of the element that was opened last

  /// All that was written.
  std::string Text() const;

 private:
  const std::unique_ptr<tinyxml2::XMLPrinter> _printer;
};
