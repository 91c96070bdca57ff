#pragma once
// A small managed type and its manager for the tests of the generic manager. Widget
// optionally reports its own destruction ("type <Type>" for a prototype, "instance
// <Name>" for a named object) to a journal owned by the test; WidgetManager::create
// follows the creation pattern of the concrete managers.

#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/core/Manager.h>

#include <string>
#include <vector>

namespace KorvaneTest {

class Widget : public Korvane::ManageableType {
public:
    // journal is not owned; it must outlive the widget and every copy of it.
    explicit Widget(std::vector<std::string>* journal = nullptr)
        : ManageableType("Widget"), m_journal(journal) {}
    Widget(const Widget&) = default;
    ~Widget() override {
        if (!m_journal) return;
        m_journal->push_back(name().empty() ? "type " + type() : "instance " + name());
    }

    Widget* createCopy() const { return new Widget(*this); }

    using ManageableType::setName;
    using ManageableType::setType;

private:
    std::vector<std::string>* m_journal;
};

class WidgetRefPtr : public Korvane::RefPtr<Widget> {
public:
    using RefPtr<Widget>::RefPtr;
};

}  // namespace KorvaneTest

// A host's own named handle is made known to the managers beside the handle.
template <>
struct Korvane::HandleOf<KorvaneTest::Widget> {
    using Type = KorvaneTest::WidgetRefPtr;
};

namespace KorvaneTest {

struct WidgetManagerTraits {};

class WidgetManager : public Korvane::Manager<Widget, WidgetManagerTraits> {
public:
    WidgetManager() = default;

    // Empty handle and empty name for an unknown type or a refused name.
    WidgetRefPtr create(const char* type, std::string& name, bool unique) {
        Korvane::MutexLock lock(&m_lock);
        const std::string typeName = type ? type : "";
        WidgetRefPtr prototype = prototypePrivate(typeName);
        WidgetRefPtr object;
        if (prototype.isValid()) object = WidgetRefPtr(prototype->createCopy(), &freeCallback);
        return enterCreatedPrivate(object, typeName, name, unique);
    }

    // A prototype for registerType, deleted through the manager's deleter.
    static WidgetRefPtr makePrototype(std::vector<std::string>* journal = nullptr) {
        return WidgetRefPtr(new Widget(journal), &freeCallback);
    }

    using Manager::freeCallback;
    using Manager::instanceMapInsert;
};

}  // namespace KorvaneTest
