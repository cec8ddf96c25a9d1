#include "hook/xml_document.h"

#include <cstddef>
#include <ios>
#include <new>
#include <sstream>
#include <utility>

namespace hook {

namespace {

void* Allocate(std::size_t bytes) { return ::operator new(bytes); }

void Deallocate(void* memory) { ::operator delete(memory); }

// With its own allocator pugixml goes on without the node that it got no memory for.
std::unique_ptr<pugi::xml_document> MakeDocument() {
  pugi::set_memory_management_functions(Allocate, Deallocate);
  return std::make_unique<pugi::xml_document>();
}

#ifdef ZINT_SAVE_THROUGH_A_WRITER
class TextWriter final : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    text_.append(static_cast<const char*>(data), size);
  }

  [[nodiscard]] std::string TakeText() { return std::move(text_); }

 private:
  std::string text_;
};
#endif

}  // namespace

XmlDocument::XmlDocument() : document_(MakeDocument()) {}

XmlDocument::~XmlDocument() = default;

bool XmlDocument::LoadFromString(const char* text) {
  return document_->load_string(text, pugi::parse_default).status == pugi::status_ok;
}

bool XmlDocument::GetFirstChild(pugi::xml_node& node) {
  node = document_->first_child();
  return !node.empty();
}

bool XmlDocument::AppendAttribute(pugi::xml_node node, const char* name, const char* value) {
  if (node.empty()) return false;
  node.append_attribute(name).set_value(value);
  return true;
}

bool XmlDocument::AppendTextElement(const char* name, const char* value, pugi::xml_node node,
                                    pugi::xml_node& element) {
  element = node.append_child(name);
  element.append_child(pugi::node_pcdata).set_value(value);
  return !node.empty();
}

#ifdef ZINT_SAVE_THROUGH_A_WRITER

// pugixml's own stream functions are those of the C++ library that it was built for, not of this
// program's.
bool XmlDocument::SaveToString(std::string& text) const {
  TextWriter writer;
  document_->save(writer, "", pugi::format_raw, pugi::encoding_auto);
  text = writer.TakeText();
  return true;
}

#else

bool XmlDocument::SaveToString(std::string& text) const {
  std::ostringstream stream;
  // By default a stream goes on without the memory that it did not get, and the text ends early.
  stream.exceptions(std::ios::badbit | std::ios::failbit);
  document_->save(stream, "", pugi::format_raw, pugi::encoding_auto);
  text = stream.str();
  return true;
}

#endif

}  // namespace hook
