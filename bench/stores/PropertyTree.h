// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "Files.h"
#include "Names.h"
#include "Store.h"

namespace bench {

/** Boost.PropertyTree, with a JSON file, the fastest of its nested formats. */
class PropertyTree : public Store {
public:
    static constexpr char const* label = "Boost.PropertyTree";

    PropertyTree(std::filesystem::path const& directory, Names const&) : _path(directory / "tree.json") {}

    template <class Value>
    void write(std::string const& name, Value const& value) {
        _tree.put(path(name), value);
    }
    template <class Element>
    void write(std::string const& name, std::vector<Element> const& value) {
        Tree list;
        for (Element const& element : value)
            list.push_back({"", Tree()})->second.put_value(element);
        _tree.put_child(path(name), list);
    }

    template <class Value>
    void read(std::string const& name, Value& value) {
        value = _tree.get<Value>(path(name));
    }
    template <class Element>
    void read(std::string const& name, std::vector<Element>& value) {
        value.clear();
        for (auto const& element : _tree.get_child(path(name)))
            value.push_back(element.second.get_value<Element>());
    }

    int readOr(std::string const& name, int fallback) { return _tree.get(path(name), fallback); }

    std::vector<std::string> list(std::string const& group) {
        std::vector<std::string> names;
        for (auto const& child : _tree.get_child(path(group)))
            names.push_back(child.first);
        return names;
    }

    void clear() { _tree.clear(); }

    void save() {
        std::ostringstream text;
        boost::property_tree::write_json(text, _tree, false);
        replaceFile(_path, text.str());
    }
    void load() { boost::property_tree::read_json(_path.string(), _tree); }

private:
    using Tree = boost::property_tree::ptree;

    static Tree::path_type path(std::string const& name) { return {name, '/'}; }

    std::filesystem::path _path;
    Tree _tree;
};

} // namespace bench
