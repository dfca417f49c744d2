// Elements as operators write them, and what is in them.
//
// An element is "slot:1000", "mail:10", "drive:500" or "shelf:1", with its element address. Where
// an element is expected, "drive:SERIAL" and the barcode of the medium in it can be used instead.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "catalogue/Catalogue.h"

/// The forms of an element's name, for messages and help.
inline constexpr char kElementForms[] = "slot:N, mail:N, drive:N or shelf:N";
inline constexpr char kElementHelp[] =
    "slot:N, mail:N, drive:N, shelf:N, drive:SERIAL or the barcode in it";
inline constexpr char kElementsHelp[] =
    "A range such as slot:1000-1059, or one element by address, "
    "drive:SERIAL or barcode";

/// The address, in the catalogue, of a drive that its library has not placed.
inline constexpr int kUnplaced = -999999;

/// Far more than SCSI has element addresses: a larger count is a mistake.
inline constexpr int kMostElements = 200'000;

/// Elements of one type, from one address to another.
struct ElementSpan {
  int type;
  int first;
  int last;
  bool contains(const LibElement& element) const;
};

/// "slot:1000-1059", or one element; nothing when `text` is neither.
std::optional<ElementSpan> spanOf(std::string_view text);

/// The element of that name, empty and without barcode. Throws UsageError when `name` is not a type
/// and an address.
LibElement parseElementName(const std::string& name);

/// The word for an element type; "unknown" for any other code.
std::string elementTypeWord(int type);

std::string elementName(const LibElement& element);

/// Whether it is a storage slot or a mail slot: these share their addresses.
bool isSlot(const LibElement& element);

/// Whether both are the same element of a library, whatever they hold.
bool isSameElement(const LibElement& one, const LibElement& other);

/// "drive:500 holds A00001", or "drive:500 is empty".
std::string contentText(const LibElement& element);

/// What is where in a library at one moment. Everything throws Failure.
class Inventory {
public:
  explicit Inventory(const std::string& library);
  Inventory(const Inventory&) = delete;
  Inventory& operator=(const Inventory&) = delete;

  const std::string& library() const { return m_library; }
  const std::vector<LibElement>& elements() const { return m_elements; }

  /// Null when the library has no such element.
  const LibElement* find(int type, int address) const;

  /// The one element that an operator means by `text`, in any form.
  const LibElement& locate(const std::string& text) const;

  /// The elements of the library that `text` names, at least one: a range, or as locate().
  std::vector<LibElement> within(const std::string& text) const;

  /// The first empty element of a type, by address.
  const LibElement& firstEmpty(int type) const;

  /// Moves a medium in this inventory only, both ends named in any form. Returns them as they are
  /// afterwards. Changes nothing when it throws.
  std::pair<LibElement, LibElement> move(const std::string& from, const std::string& to);

private:
  void requireSound(int type, int address) const;

  const std::string m_library;
  std::vector<LibElement> m_elements;
  std::map<std::pair<int, int>, LibElement*> m_places;  // by type and address
  std::map<std::pair<int, int>, std::string> m_faulty;  // what nobody may rely on, and why
  std::map<std::string, int> m_drives;                  // addresses, by folded serial number
};

/// Throws Failure, with what is in the way, unless the medium in `from` can go to `to`.
void requireMovable(const LibElement& from, const LibElement& to);

/// A medium of a library.
struct MediumPlace {
  std::string library;
  LibElement element;
};

/// All places of these barcodes in the libraries, also in elements that are marked empty. A library
/// that cannot be read is left out; its name is added to `unread` unless that is null.
std::vector<MediumPlace> placesOf(const std::set<std::string>& barcodes,
                                  std::vector<std::string>* unread = nullptr);

/// Throws Failure when one of the barcodes has a place that is not allowed, or may be in a library
/// that cannot be read. `next` is what the operator can do, unless it is to empty that element.
void refuseMediaElsewhere(
    const std::set<std::string>& barcodes, const std::string& next = "",
    const std::function<bool(const MediumPlace&)>& isAllowed = [](const auto&) { return false; });
