#ifndef HOOK_XML_DOCUMENT_H_
#define HOOK_XML_DOCUMENT_H_

#include <memory>
#include <pugixml.hpp>
#include <string>

namespace hook {

// Owner of one XML document. Node handles may be null. Texts are UTF-8.
//
// Memory that runs out escapes as std::bad_alloc; there is never a short document.
// Process-wide: the first document gives pugixml an allocator that throws.
class XmlDocument {
 public:
  XmlDocument();
  ~XmlDocument();
  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;

  // Replaces the content by the parsed text. False where it is not well-formed.
  bool LoadFromString(const char* text);

  // The document's first node: for "<a/>" the element "a". False, `node` null, where
  // there is none.
  bool GetFirstChild(pugi::xml_node& node);

  // False where `node` is null.
  bool AppendAttribute(pugi::xml_node node, const char* name, const char* value);

  // Appends an element that holds one text node, also for an empty value, so that it is
  // written as a pair of tags. False, `element` null, where `node` is null.
  bool AppendTextElement(const char* name, const char* value, pugi::xml_node node,
                         pugi::xml_node& element);

  // Replaces `text` by the document: an XML declaration, no indentation, no line breaks.
  // Always true.
  bool SaveToString(std::string& text) const;

 private:
  std::unique_ptr<pugi::xml_document> document_;
  // Kept beside the first for the family's programs that hold two; empty in this one.
  std::unique_ptr<pugi::xml_document> secondDocument_;
};

}  // namespace hook

#endif  // HOOK_XML_DOCUMENT_H_
