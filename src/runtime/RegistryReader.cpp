#include "runtime/RegistryReader.h"

#include "runtime/Strings.h"

namespace vt {

std::optional<std::wstring> RegistryString(const RegistryValue& value) {
    if (value.type != kRegSz && value.type != kRegExpandSz) return std::nullopt;
    std::wstring text;
    for (std::size_t i = 0; i + 1 < value.data.size(); i += 2) {
        const auto unit = static_cast<wchar_t>(value.data[i] | (value.data[i + 1] << 8));
        if (unit == 0) break;
        text += unit;
    }
    return text;
}

std::optional<std::uint32_t> RegistryDword(const RegistryValue& value) {
    if (value.type != kRegDword || value.data.size() != 4) return std::nullopt;
    return static_cast<std::uint32_t>(value.data[0]) | (static_cast<std::uint32_t>(value.data[1]) << 8) |
           (static_cast<std::uint32_t>(value.data[2]) << 16) | (static_cast<std::uint32_t>(value.data[3]) << 24);
}

std::vector<std::uint8_t> RegistryStringBytes(std::wstring_view text) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve((text.size() + 1) * 2);
    for (wchar_t c : text) {
        auto cp = static_cast<std::uint32_t>(c);
        if (cp > 0xFFFF) {  // 32-bit wchar_t natively: write the surrogate pair
            cp -= 0x10000;
            const std::uint32_t units[2] = {0xD800 + (cp >> 10), 0xDC00 + (cp & 0x3FF)};
            for (auto u : units) {
                bytes.push_back(static_cast<std::uint8_t>(u & 0xFF));
                bytes.push_back(static_cast<std::uint8_t>(u >> 8));
            }
            continue;
        }
        bytes.push_back(static_cast<std::uint8_t>(cp & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(cp >> 8));
    }
    bytes.push_back(0);
    bytes.push_back(0);
    return bytes;
}

// ---- in memory ----

struct MemoryRegistry::Node {
    std::wstring name;
    std::vector<std::unique_ptr<Node>> children;
    std::vector<std::pair<std::wstring, RegistryValue>> values;

    Node* Child(std::wstring_view childName) const {
        for (const auto& c : children)
            if (SameText(c->name, childName)) return c.get();
        return nullptr;
    }
};

namespace {

class MemoryKey final : public IRegistryKey {
public:
    explicit MemoryKey(const MemoryRegistry::Node* node) : node_(node) {}
    std::vector<std::wstring> SubKeyNames() const override {
        std::vector<std::wstring> names;
        for (const auto& c : node_->children) names.push_back(c->name);
        return names;
    }
    std::vector<std::wstring> ValueNames() const override {
        std::vector<std::wstring> names;
        for (const auto& v : node_->values) names.push_back(v.first);
        return names;
    }
    std::optional<RegistryValue> ReadValue(std::wstring_view name) const override {
        for (const auto& v : node_->values)
            if (SameText(v.first, name)) return v.second;
        return std::nullopt;
    }

private:
    const MemoryRegistry::Node* node_;
};

std::vector<std::wstring> SplitKeyPath(std::wstring_view path) {
    std::vector<std::wstring> parts;
    std::wstring part;
    for (wchar_t c : path) {
        if (c == L'\\') {
            if (!part.empty()) parts.push_back(std::move(part));
            part.clear();
        } else {
            part += c;
        }
    }
    if (!part.empty()) parts.push_back(std::move(part));
    return parts;
}

}  // namespace

MemoryRegistry::MemoryRegistry() : roots_(std::make_unique<Node>()) {}
MemoryRegistry::~MemoryRegistry() = default;
MemoryRegistry::MemoryRegistry(MemoryRegistry&&) noexcept = default;
MemoryRegistry& MemoryRegistry::operator=(MemoryRegistry&&) noexcept = default;

MemoryRegistry::Node* MemoryRegistry::Find(RegistryRoot root, std::wstring_view path, bool create) const {
    const std::wstring rootName = RegistryRootToStr(root);
    if (rootName.empty()) return nullptr;
    std::vector<std::wstring> parts = SplitKeyPath(path);
    parts.insert(parts.begin(), rootName);
    Node* node = roots_.get();
    for (const auto& part : parts) {
        Node* next = node->Child(part);
        if (next == nullptr) {
            if (!create) return nullptr;
            node->children.push_back(std::make_unique<Node>());
            next = node->children.back().get();
            next->name = part;
        }
        node = next;
    }
    return node;
}

void MemoryRegistry::AddKey(RegistryRoot root, std::wstring_view path) { Find(root, path, true); }

void MemoryRegistry::SetValue(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                              RegistryValue value) {
    Node* node = Find(root, path, true);
    if (node == nullptr) return;
    for (auto& v : node->values)
        if (SameText(v.first, name)) {
            v.second = std::move(value);
            return;
        }
    node->values.emplace_back(std::wstring(name), std::move(value));
}

void MemoryRegistry::SetString(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                               std::wstring_view text, std::uint32_t type) {
    SetValue(root, path, name, RegistryValue{type, RegistryStringBytes(text)});
}

void MemoryRegistry::SetDword(RegistryRoot root, std::wstring_view path, std::wstring_view name,
                              std::uint32_t number) {
    SetValue(root, path, name,
             RegistryValue{kRegDword,
                           {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
                            static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)}});
}

void MemoryRegistry::Clear() { roots_ = std::make_unique<Node>(); }

std::unique_ptr<IRegistryKey> MemoryRegistry::OpenKey(RegistryRoot root, std::wstring_view path,
                                                      RegistryView) const {
    const Node* node = Find(root, path, false);
    if (node == nullptr) return nullptr;
    return std::make_unique<MemoryKey>(node);
}

}  // namespace vt
