#include <korvane/log/LogFunctions.h>
#include <korvane/plugins/Library.h>

#include <exception>
#include <new>

#include "platform/PosixLibrary.h"

namespace Korvane {

Library::Library(const std::string& fileName) : m_fileName(fileName) {
    try {
        m_impl = std::make_unique<Internal::PosixLibrary>();
        m_impl->open(fileName);
    } catch (const std::bad_alloc&) {
        m_impl.reset();
        korvLogError("[Library::Library] Bad_alloc creating native platform library object: " +
                     fileName);
    } catch (const std::exception&) {
        m_impl.reset();
        korvLogError("[Library::Library] Failed to open native platform library object for: " +
                     fileName);
    }
}

Library::~Library() {
    if (m_impl) m_impl->release();
}

bool Library::isOpen() const {
    return m_impl && m_impl->isOpen();
}

bool Library::close() {
    return m_impl && m_impl->close();
}

void* Library::symbol(const std::string& name) {
    if (!m_impl) return nullptr;
    if (!m_impl->isOpen()) m_impl->open(m_fileName);
    return m_impl->symbol(name);
}

std::string Library::errorText() const {
    return m_impl ? m_impl->errorText() : std::string("no native library object");
}

}  // namespace Korvane
