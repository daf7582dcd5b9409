// JSON trees, for everything beside the daemon, which has its own. This is the only place of lib/,
// of the tools and of the test bed that calls the JSON library.
//
// A tree is owned by its handle; nodes below a root are borrowed from it. A null node is accepted
// everywhere: nothing is found in it and nothing can be added to it, so that a chain of calls needs
// no tests between. Keys are compared letter by letter, case included.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct cJSON;

namespace avoip {

struct JsonDelete {
    void operator()(cJSON* tree) const noexcept;
};
using Json = std::unique_ptr<cJSON, JsonDelete>;

/// Parses a text that is one JSON document, with blanks and line ends around it at most. Null when
/// it is anything else.
Json Json_parse(std::string_view text);

/// Parses the JSON document that `text` begins with; bytes behind it are not looked at. Null when
/// there is none.
Json Json_parseBeginning(std::string_view text);

/// The tree as one line without blanks; empty without memory.
std::string Json_print(const cJSON* tree);

/// The tree over many lines, indented.
std::string Json_printForPeople(const cJSON* tree);

bool Json_isObject(const cJSON* value);
bool Json_isArray(const cJSON* value);

/// The text of a value; nothing when it is null or of another type.
std::optional<std::string> Json_text(const cJSON* value);

/// The text of the member `key` of `object`; nothing when there is no such member, or no text.
std::optional<std::string> Json_text(const cJSON* object, std::string_view key);

/// The same for a number that is whole, and for true and false.
std::optional<std::int64_t> Json_whole(const cJSON* value);
std::optional<bool> Json_truth(const cJSON* value);

/// Whether there is a value, and it is null.
bool Json_isNull(const cJSON* value);

/// The number of the member `key` of `object`; nothing when there is no such member, or no number.
std::optional<double> Json_number(const cJSON* object, std::string_view key);

/// The first member of `object` with this key; null when there is none, or no object.
const cJSON* Json_find(const cJSON* object, std::string_view key);
cJSON* Json_find(cJSON* object, std::string_view key);

/// The key of a member; empty for what is no member of an object.
std::string_view Json_key(const cJSON* member);

/// The items of an array or the members of an object, in their order, for a range-based loop; none
/// of any other value.
class JsonItems {
  public:
    class Iterator {
      public:
        explicit Iterator(const cJSON* item) : item_(item) {}
        const cJSON* operator*() const { return item_; }
        Iterator& operator++();
        bool operator==(const Iterator&) const = default;

      private:
        const cJSON* item_;
    };

    explicit JsonItems(const cJSON* parent) : parent_(parent) {}
    [[nodiscard]] Iterator begin() const;
    [[nodiscard]] Iterator end() const { return Iterator(nullptr); }

  private:
    const cJSON* parent_;
};
JsonItems Json_items(const cJSON* parent);

/// A new, empty root object; null without memory.
Json Json_newObject();

/// Add a member behind those that stand already. What is made is returned, null without memory.
cJSON* Json_addObject(cJSON* parent, std::string_view key);
cJSON* Json_addArray(cJSON* parent, std::string_view key);
void Json_addText(cJSON* parent, std::string_view key, std::string_view value);
/// An empty text becomes null.
void Json_addTextOrNull(cJSON* parent, std::string_view key, std::string_view value);
void Json_addWhole(cJSON* parent, std::string_view key, std::int64_t value);
void Json_addTruth(cJSON* parent, std::string_view key, bool value);
void Json_addNull(cJSON* parent, std::string_view key);
/// `json` is the text of a JSON value, which is taken as it is.
void Json_addPrinted(cJSON* parent, std::string_view key, std::string_view json);

/// Add an item behind those that stand already in an array.
cJSON* Json_appendObject(cJSON* array);
void Json_appendText(cJSON* array, std::string_view value);

/// Gives the member `key` that `object` has another value, at its old place.
void Json_replaceText(cJSON* object, std::string_view key, std::string_view value);

/// Takes `item` out of `parent`, which has it, and releases it.
void Json_remove(cJSON* parent, const cJSON* item);

}  // namespace avoip
