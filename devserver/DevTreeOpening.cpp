// How DevTree reads its directory, and how it repairs what a kill has left unfinished. Nothing is
// ever removed here but what stands aside: a node that lacks its parent may be missed.
#include "devserver/DevTree.h"

#include "devserver/DevError.h"
#include "devserver/DevNodeChecks.h"
#include "devserver/DevTreeNames.h"

#include <algorithm>

namespace {

bool contains(const DevStorage::Numbers& numbers, std::uint64_t number) {
    return std::binary_search(numbers.begin(), numbers.end(), number);
}

} // namespace

DevTree::DevTree(const std::string& root, DevSync sync, const DevLog& log)
    : log_(log), storage_(root, sync, log), remover_(storage_, log) {
    load();
}

void DevTree::load() {
    for (const DevStorage::Numbers& numbers :
         {storage_.nodes(), storage_.destroyed(), storage_.lost()})
        if (!numbers.empty())
            storage_.leaveOut(numbers.back());
    bringBackLost();
    const DevStorage::Numbers nodes = storage_.nodes();
    if (!contains(nodes, DevTreeNames::rootNumber)) {
        if (!nodes.empty())
            log_("The root node's folder 'nodes/n0' is missing: a new one was made.");
        makeRoot();
    }
    for (const std::uint64_t number : nodes)
        loadNode(number);
    if (!index_.has(DevTreeNames::rootNumber)) {
        storage_.loseRoot();
        log_("The root node's folder was moved to 'lost/root': a new one was made.");
        makeRoot();
    }
    settleOrphans();
    finishDrops();
}

void DevTree::makeRoot() {
    DevNode root;
    root.name = "root";
    root.type = "root";
    storage_.add(DevTreeNames::rootNumber, root);
    index_.add(DevTreeNames::rootNumber, std::make_shared<const DevNode>(std::move(root)));
}

void DevTree::loadNode(std::uint64_t number) {
    try {
        DevNode node = storage_.read(number);
        devCheckNode(node);
        index_.add(number, std::make_shared<const DevNode>(std::move(node)));
    } catch (const std::exception& error) { // a lack of memory, too
        log_("The node '" + DevTreeNames::folderName(number) + "' is left out: " + error.what());
    }
}

// In ascending order, so that a parent is back before its children are looked at.
void DevTree::bringBackLost() {
    if (storage_.isReadOnly())
        return;
    DevStorage::Numbers nodes = storage_.nodes();
    for (const std::uint64_t number : storage_.lost()) {
        const std::string name = DevTreeNames::folderName(number);
        try {
            if (!contains(nodes, storage_.readLost(number).parent))
                continue;
            storage_.bringBack(number);
            nodes.insert(std::upper_bound(nodes.begin(), nodes.end(), number), number);
            log_("The node '" + name + "' has its parent again, and is back from 'lost'.");
        } catch (const DevError& error) {
            log_("The node '" + name + "' stays in 'lost': " + error.what());
        }
    }
}

// A node whose parent has no folder is what was left of a destroyed subtree, where that parent
// stands aside; otherwise somebody may put the parent back. One whose parent is there but can't be
// read stays, out of reach, until somebody repairs the parent.
void DevTree::settleOrphans() {
    const DevStorage::Numbers nodes = storage_.nodes();
    Ancestors destroyed, lost;
    for (const std::uint64_t number : storage_.destroyed())
        destroyed[number] = number;
    for (const std::uint64_t number : nodes) {
        if (!index_.has(number) || number == DevTreeNames::rootNumber)
            continue;
        const std::uint64_t parent = index_.node(number)->parent;
        if (destroyed.count(parent) != 0)
            destroyed[number] = destroyed[parent];
        else if (lost.count(parent) != 0)
            lost[number] = lost[parent];
        else if (!contains(nodes, parent))
            lost[number] = parent;
        else if (index_.has(parent))
            index_.link(number);
    }
    removeRemains(destroyed);
    loseNodes(lost);
}

void DevTree::removeRemains(const Ancestors& destroyed) {
    std::map<std::uint64_t, std::vector<std::uint64_t>> remains;
    for (const auto& [number, topmost] : destroyed) {
        if (number != topmost)
            (void)index_.remove(number);
        remains[topmost].push_back(number);
    }
    for (auto& [topmost, numbers] : remains)
        remover_.removeNodes(std::move(numbers));
    remover_.removeAside(storage_.unfinished());
}

void DevTree::loseNodes(const Ancestors& lost) {
    std::map<std::uint64_t, std::size_t> counts;
    for (const auto& [number, missing] : lost) {
        (void)index_.remove(number);
        try {
            if (!storage_.isReadOnly())
                storage_.lose(number);
            ++counts[missing];
        } catch (const DevError& error) {
            log_("A node without a parent stays where it is: " + std::string(error.what()));
        }
    }
    for (const auto& [missing, count] : counts) {
        const std::string folder = "'nodes/" + DevTreeNames::folderName(missing) + "'";
        log_("The folder " + folder + " is missing. The " + std::to_string(count) +
             " nodes below it " +
             (storage_.isReadOnly() ? "are out of reach." : "were moved to 'lost'.") +
             " Put the folder back and start again, and they return.");
    }
}

void DevTree::finishDrops() {
    if (storage_.isReadOnly())
        return;
    for (const std::uint64_t number : storage_.nodes()) {
        if (!index_.has(number) || !index_.node(number)->leftovers)
            continue;
        try {
            changeClip(number, *index_.node(number), Frames::Dropped);
        } catch (const DevError& error) {
            log_(error.what());
        }
    }
}
