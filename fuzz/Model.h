// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Files.h"
#include "Registers.h"
#include "Tree.h"

namespace fuzz {

/** A simple model of the register's operations and their results, with plain maps, without regard to speed. */
class Model {
public:
    Model() {
        for (RegisterScope const scope : scopes)
            tree.add(Tree::root, directory(scope), true);
    }

    static bool isScope(RegisterScope scope) {
        return scope == SCOPE_GLOBAL || scope == SCOPE_USER || scope == SCOPE_TEMPORARY;
    }

    static std::string directory(RegisterScope scope) {
        return scope == SCOPE_GLOBAL ? "global" : scope == SCOPE_USER ? "user" : "temp";
    }

    /** A name with bytes that are not UTF-8 replaced, as in every conversion to text. */
    static std::string wellFormed(std::string const& name) { return bytes(text('/' + name)).substr(1); }

    static std::string groupOf(std::string const& name) {
        std::string const whole = '/' + wellFormed(name);
        std::string const above = whole.substr(0, whole.rfind('/'));
        return above.empty() ? above : above.substr(1);
    }

    static std::vector<std::string> levels(std::string const& name, RegisterScope scope) {
        return levelsOf(directory(scope) + '/' + wellFormed(name));
    }

    [[nodiscard]] std::size_t find(std::string const& name, RegisterScope scope) const {
        return tree.find(levels(name, scope));
    }

    [[nodiscard]] bool exists(std::string const& name, RegisterScope scope) const {
        return find(name, scope) != Tree::none;
    }

    [[nodiscard]] bool isGroup(std::string const& name, RegisterScope scope) const {
        std::size_t const id = find(name, scope);
        return id != Tree::none && tree[id].directory;
    }

    [[nodiscard]] bool existsAnywhere(std::string const& name) const {
        return exists(name, SCOPE_GLOBAL) || exists(name, SCOPE_USER) || exists(name, SCOPE_TEMPORARY);
    }

    [[nodiscard]] bool isGroupAnywhere(std::string const& name) const {
        return isGroup(name, SCOPE_GLOBAL) || isGroup(name, SCOPE_USER) || isGroup(name, SCOPE_TEMPORARY);
    }

    /** The node that readers find under a name. */
    [[nodiscard]] std::size_t located(std::string const& name) const {
        for (RegisterScope const scope : {SCOPE_USER, SCOPE_GLOBAL, SCOPE_TEMPORARY})
            if (std::size_t const id = find(name, scope); id != Tree::none)
                return id;
        return Tree::none;
    }

    void addGroup(std::string const& name, RegisterScope scope) {
        std::size_t at = Tree::root;
        for (std::string const& level : levels(name, scope)) {
            std::size_t const next = tree.child(at, level);
            if (next != Tree::none && !tree[next].directory)
                return;
            if (next == Tree::none && !mayBeMade(level))
                return;
            at = next != Tree::none ? next : tree.add(at, level, true);
        }
    }

    void addProperty(std::string const& name, RegisterScope scope) {
        if (exists(name, scope))
            return;
        addGroup(groupOf(name), scope);
        openForWriting(name, scope);
    }

    void remove(std::string const& name, RegisterScope scope) {
        std::vector<std::string> path = levels(name, scope);
        if (tree.find(path) == Tree::none)
            return;
        std::string const last = path.back();
        path.pop_back();
        tree[tree.find(path)].children.erase(last);
    }

    /** Empties a file, creating it if needed. Result: the file, or `Tree::none` if it cannot be created. */
    std::size_t openForWriting(std::string const& name, RegisterScope scope) {
        std::vector<std::string> path = levels(name, scope);
        std::size_t const found = tree.find(path);
        if (found != Tree::none) {
            if (tree[found].directory)
                return Tree::none;
            tree[found].content.clear();
            return found;
        }
        std::string const last = path.back();
        path.pop_back();
        std::size_t const parent = tree.find(path);
        if (parent == Tree::none || !tree[parent].directory || !mayBeMade(last))
            return Tree::none;
        return tree.add(parent, last, false);
    }

    /** False if a property of that name cannot be created. */
    bool write(std::string const& name, RegisterScope scope, std::string const& record) {
        std::size_t file = openForWriting(name, scope);
        if (file == Tree::none) {
            addProperty(name, scope);
            file = openForWriting(name, scope);
        }
        if (file == Tree::none)
            return false;
        tree[file].content = record;
        return true;
    }

    Tree tree;

private:
    static bool mayBeMade(std::string const& level) { return level != "." && level != ".."; }
};

} // namespace fuzz
