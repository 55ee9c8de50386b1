#include "devserver/DevIndex.h"

#include "devserver/DevError.h"
#include "devserver/DevTreeNames.h"

#include <algorithm>

std::uint64_t DevIndex::numberOf(std::string_view id) const {
    const auto number = DevTreeNames::numberIn<std::uint64_t>(id, 'n');
    if (!number || !has(*number))
        throw DevError("There is no node " + devQuoted(id) + ".");
    return *number;
}

const DevIndex::Entry& DevIndex::entry(std::uint64_t number) const {
    const auto found = entries_.find(number);
    if (found == entries_.end())
        throw DevError("There is no node " + devQuoted(DevTreeNames::folderName(number)) + ".");
    return found->second;
}

const DevIndex::Node& DevIndex::node(std::uint64_t number) const {
    return entry(number).node;
}

const DevIndex::Node& DevIndex::clip(std::uint64_t number) const {
    const Node& found = node(number);
    if (found->kind != DevNode::Clip)
        throw DevError("The node " + devQuoted(DevTreeNames::folderName(number)) +
                       " is not a clip.");
    return found;
}

std::vector<DevIndex::Child> DevIndex::children(std::uint64_t number) const {
    std::vector<Child> children;
    children.reserve(entry(number).children.size());
    for (const std::uint64_t child : entry(number).children)
        children.emplace_back(child, node(child));
    return children;
}

std::optional<std::uint64_t> DevIndex::childNamed(std::uint64_t parent,
                                                  const std::string& name) const {
    for (const std::uint64_t child : entry(parent).children)
        if (node(child)->name == name)
            return child;
    return std::nullopt;
}

DevFrame DevIndex::frame(std::string_view frameId) const {
    const std::size_t dash = frameId.find('-');
    if (dash != std::string_view::npos) {
        const auto number = DevTreeNames::numberIn<std::uint64_t>(frameId.substr(0, dash), 'n');
        const auto index = DevTreeNames::numberIn<std::size_t>(frameId.substr(dash + 1), 'f');
        const auto found = number ? entries_.find(*number) : entries_.end();
        if (index && found != entries_.end() && *index < found->second.node->frames) {
            const Entry& owner = found->second;
            const auto written = owner.written.find(*index);
            return {
                {*number, *index, written != owner.written.end() ? written->second : owner.stamp},
                static_cast<std::size_t>(owner.node->format.frameBufferSize()),
                *index < owner.node->links.size()};
        }
    }
    throw DevError("There is no frame " + devQuoted(frameId) + ".");
}

void DevIndex::add(std::uint64_t number, Node node) {
    Entry added;
    added.node = std::move(node);
    added.stamp = ++lastStamp_;
    entries_[number] = std::move(added);
}

void DevIndex::link(std::uint64_t number) {
    std::vector<std::uint64_t>& siblings = entries_.at(node(number)->parent).children;
    siblings.insert(std::upper_bound(siblings.begin(), siblings.end(), number), number);
}

void DevIndex::replace(std::uint64_t number, Node node, Contents contents) {
    (void)entry(number);
    Entry& changed = entries_.at(number);
    changed.node = std::move(node);
    if (contents == Contents::Kept)
        return;
    changed.stamp = ++lastStamp_;
    changed.written.clear();
}

void DevIndex::touch(const DevFrameKey& frame) {
    entries_.at(frame.node).written[frame.index] = ++lastStamp_;
}

DevIndex::Removed DevIndex::remove(std::uint64_t number) {
    std::vector<std::uint64_t> numbers{number};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::vector<std::uint64_t>& children = entry(numbers[i]).children;
        numbers.insert(numbers.end(), children.begin(), children.end());
    }
    Removed removed;
    removed.reserve(numbers.size());
    const auto parent = entries_.find(node(number)->parent);
    if (parent != entries_.end() && parent->first != number) {
        std::vector<std::uint64_t>& siblings = parent->second.children;
        const auto found = std::lower_bound(siblings.begin(), siblings.end(), number);
        if (found != siblings.end() && *found == number)
            siblings.erase(found);
    }
    for (const std::uint64_t each : numbers)
        removed.push_back(entries_.extract(each));
    return removed;
}
