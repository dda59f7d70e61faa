#include "standalone/fbx/embedded_media.h"

#include <fbxsdk.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>

#include "standalone/fbx/file_bytes.h"
#include "standalone/fbx/mirel_fbx.h"

namespace mirel::fbx {
namespace {

constexpr std::size_t kLongestName = 255;

int sextet(char character) {
  if (character >= 'A' && character <= 'Z') return character - 'A';
  if (character >= 'a' && character <= 'z') return character - 'a' + 26;
  if (character >= '0' && character <= '9') return character - '0' + 52;
  if (character == '+') return 62;
  return character == '/' ? 63 : -1;
}

// Empty when there is no name that a file could have.
std::string file_name(Document const& document, Element const& video) {
  for (std::string_view const field : {"Filename", "FileName", "RelativeFilename"}) {
    Element const* const stored = video.child(field);
    if (stored == nullptr || stored->value_count == 0) continue;
    std::string name = document.text(stored->values[0]);
    name.erase(0, name.find_last_of("/\\") + 1);
    name.resize(std::min(name.size(), name.find('\0')));
    if (!name.empty() && name != "." && name != ".." && name.size() <= kLongestName) return name;
  }
  return {};
}

bool write_new_file(std::string const& path, std::string_view bytes) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wbx"), &std::fclose);
  if (file == nullptr) return false;
  bool const is_written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  return std::fclose(file.release()) == 0 && is_written;
}

}  // namespace

std::string decode_base64(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  unsigned int pending = 0;
  int bits = 0;
  for (char const character : text) {
    if (character == '=') break;
    int const value = sextet(character);
    if (value < 0) continue;
    pending = (pending << 6 | static_cast<unsigned int>(value)) & 0xFFFFU;
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes.push_back(static_cast<char>(pending >> bits & 0xFFU));
    }
  }
  return bytes;
}

void each_embedded_medium(Document const& document,
                          std::function<void(std::string const& name, std::string_view bytes)> const& take) {
  for (DocumentObject const& object : document.objects()) {
    Element const* const content = object.type == "Video" ? object.element->child("Content") : nullptr;
    if (content == nullptr) continue;
    std::string const name = file_name(document, *object.element);
    if (name.empty()) continue;
    if (!document.tree().is_text) {
      if (!raw_text(content).empty()) take(name, raw_text(content));
      continue;
    }
    // Text files hold base 64, in pieces where it is long.
    std::string bytes;
    for (std::size_t piece = 0; piece < content->value_count; ++piece) {
      bytes += decode_base64(raw_text(content, piece));
    }
    if (!bytes.empty()) take(name, bytes);
  }
}

}  // namespace mirel::fbx

extern "C" FBXSDK_DLL int mirel_fbx_extract_media(char const* path, char const* folder) {
  try {
    mirel::fbx::FileBytes bytes;
    std::string error;
    if (!bytes.read(path, std::numeric_limits<std::size_t>::max() / 2, error)) return -1;
    std::unique_ptr<mirel::fbx::ElementTree> const tree = mirel::fbx::read_elements(bytes.view());
    mirel::fbx::Document const document(*tree);
    int count = 0;
    mirel::fbx::each_embedded_medium(document, [&](std::string const& name, std::string_view medium) {
      if (mirel::fbx::write_new_file(std::string(folder) + "/" + name, medium)) ++count;
    });
    return count;
  } catch (std::exception const&) {
    return -1;
  }
}
