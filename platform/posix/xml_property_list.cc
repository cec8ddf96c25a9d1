#include "platform/posix/xml_property_list.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <pugixml.hpp>
#include <system_error>
#include <vector>

#include "platform/posix/utf8.h"

using namespace std::string_view_literals;

namespace platform {

namespace {

// pugixml keeps up to two nodes for a tag and one for an attribute, which take twenty times the
// memory of a short one: without a limit some hundred MiB for a file of 16. An Info.plist has some
// thousand tags at most.
constexpr std::ptrdiff_t kMaxTagsAndAttributes = 1 << 15;

// Not `parse_declaration`: pugixml would look for the "?>" of each declaration, however far away,
// and take hours for a file of many "<?xml />". Not `parse_escapes`: it would leave a reference
// that it does not know as it is, and let a "&#0;" end the text.
constexpr unsigned int kOptions =
    pugi::parse_fragment | pugi::parse_cdata | pugi::parse_ws_pcdata | pugi::parse_eol;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\n";

constexpr std::string_view kValues[] = {"string", "dict",  "array", "integer", "real",
                                        "true",   "false", "date",  "data"};

bool IsValue(pugi::xml_node element) {
  return std::find(std::begin(kValues), std::end(kValues), element.name()) != std::end(kValues);
}

bool HasTooManyParts(std::string_view content) {
  return std::count_if(content.begin(), content.end(),
                       [](char c) { return c == '<' || c == '='; }) > kMaxTagsAndAttributes;
}

bool IsSameName(std::string_view left, std::string_view right) {
  const auto toLower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [&toLower](char a, char b) { return toLower(a) == toLower(b); });
}

// Whether a list that pugixml took for UTF-8 says that it is: it takes every encoding that it does
// not know for UTF-8.
bool IsDeclaredUtf8(std::string_view content) {
  const std::size_t end = content.find("?>");
  if (!content.starts_with("<?xml") || end == std::string_view::npos) return true;
  pugi::xml_document declaration;
  if (!declaration.load_buffer(content.data(), end + 2,
                               pugi::parse_fragment | pugi::parse_declaration)) {
    return false;
  }
  const std::string_view name = declaration.first_child().attribute("encoding").value();
  return name.empty() || IsSameName(name, "UTF-8") || IsSameName(name, "US-ASCII");
}

// Whether `bytes` are whole characters in UTF-16: pugixml leaves out halves of them.
bool IsUtf16(std::string_view bytes, std::endian order) {
  if (bytes.size() % 2 != 0) return false;
  bool isHalf = false;
  for (std::size_t i = order == std::endian::big ? 0 : 1; i < bytes.size(); i += 2) {
    const unsigned kind = static_cast<unsigned char>(bytes[i]) >> 2;
    const bool isLow = kind == 0xDC >> 2;
    if (isLow != isHalf) return false;
    isHalf = kind == 0xD8 >> 2;
  }
  return !isHalf;
}

bool IsEncodingSound(std::string_view content, pugi::xml_encoding encoding) {
  switch (encoding) {
    case pugi::encoding_utf8:
      return content.starts_with(kByteOrderMark) || IsDeclaredUtf8(content);
    case pugi::encoding_utf16_le:
      return IsUtf16(content, std::endian::little);
    case pugi::encoding_utf16_be:
      return IsUtf16(content, std::endian::big);
    default:
      return true;
  }
}

// The characters that an XML document may have (XML 1.0, section 2.2).
bool IsXmlCharacter(char32_t character) {
  return character == '\t' || character == '\n' || character == '\r' ||
         (character >= 0x20 && character < 0xD800) || (character >= 0xE000 && character < 0xFFFE) ||
         (character >= 0x10000 && character <= 0x10FFFF);
}

// Appends what "&`name`;" stands for. False, `text` unchanged, where that is nothing.
bool AppendReferenced(std::string_view name, std::string* text) {
  constexpr struct {
    std::string_view name;
    char character;
  } kEntities[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& entity : kEntities) {
    if (name != entity.name) continue;
    text->push_back(entity.character);
    return true;
  }
  if (!name.starts_with('#')) return false;
  name.remove_prefix(1);
  const bool isHexadecimal = name.starts_with('x');
  if (isHexadecimal) name.remove_prefix(1);
  std::uint32_t number = 0;
  const char* const end = name.data() + name.size();
  const auto [next, error] = std::from_chars(name.data(), end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || next != end || !IsXmlCharacter(number)) return false;
  AppendUtf8(number, text);
  return true;
}

// Appends a text with its references undone. False where one of them stands for nothing.
bool AppendPlain(std::string_view marked, std::string* text) {
  for (std::size_t length = marked.find('&'); length != std::string_view::npos;
       length = marked.find('&')) {
    text->append(marked.substr(0, length));
    marked.remove_prefix(length + 1);
    const std::size_t end = marked.find(';');
    if (end == std::string_view::npos || !AppendReferenced(marked.substr(0, end), text)) {
      return false;
    }
    marked.remove_prefix(end + 1);
  }
  text->append(marked);
  return true;
}

// No value where there is more than text in it, or no right one.
std::optional<std::string> ReadText(pugi::xml_node element) {
  std::string text;
  for (const pugi::xml_node part : element.children()) {
    if (part.type() == pugi::node_cdata) {
      text += part.value();
    } else if (part.type() != pugi::node_pcdata || !AppendPlain(part.value(), &text)) {
      return std::nullopt;
    }
  }
  return text;
}

bool IsBlank(pugi::xml_node node) {
  return node.type() == pugi::node_pcdata &&
         std::string_view(node.value()).find_first_not_of(kBlanks) == std::string_view::npos;
}

// No value where more than white space is between them.
std::optional<std::vector<pugi::xml_node>> ReadElements(pugi::xml_node parent) {
  std::vector<pugi::xml_node> elements;
  for (const pugi::xml_node child : parent.children()) {
    if (child.type() == pugi::node_element) {
      elements.push_back(child);
    } else if (!IsBlank(child)) {
      return std::nullopt;
    }
  }
  return elements;
}

// The null node where there is none.
pugi::xml_node FindDictionary(const pugi::xml_document& document) {
  pugi::xml_node root = document.first_child();
  while (IsBlank(root)) root = root.next_sibling();
  if (root.name() == "plist"sv) {
    const auto elements = ReadElements(root);
    if (!elements || elements->size() != 1) return {};
    root = elements->front();
  }
  return root.name() == "dict"sv ? root : pugi::xml_node();
}

}  // namespace

std::optional<std::string> FindStringInXmlPropertyList(std::string_view content,
                                                       std::string_view key) {
  if (HasTooManyParts(content)) return std::nullopt;
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer(content.data(), content.size(), kOptions);
  if (!result || !IsEncodingSound(content, result.encoding)) return std::nullopt;
  const auto elements = ReadElements(FindDictionary(document));
  if (!elements || elements->size() % 2 != 0) return std::nullopt;

  pugi::xml_node value;
  for (std::size_t i = 0; i < elements->size(); i += 2) {
    const pugi::xml_node next = (*elements)[i + 1];
    if ((*elements)[i].name() != "key"sv || !IsValue(next)) return std::nullopt;
    const auto name = ReadText((*elements)[i]);
    if (!name) return std::nullopt;
    if (*name == key) value = next;
  }
  return value.name() == "string"sv ? ReadText(value) : std::nullopt;
}

}  // namespace platform
