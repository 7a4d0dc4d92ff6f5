#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QVariant>

#include <atomic>

/**
 * @file
 * @brief Everything that the serializer uses of Qt and that Qt does not document. Only recordtypes_p.h and
 * jsoneventserializer.cpp include this header.
 *
 * Each class has two bodies. The fast one relies on the internals of Qt 6.4 and 6.8, with which the tests run, and is
 * compiled with the headers of these versions only. The other one calls public functions alone; it is compiled with the
 * headers of all other versions, or with any if the CMake option STBANALYTICS_PUBLIC_QT_ONLY is on. It takes more time.
 * Both write the same bytes, but for a record that was registered under a freed id: the public body notices it at once,
 * the fast one may notice it later.
 */

#if !defined(STBANALYTICS_PUBLIC_QT_ONLY)                                                                              \
    && ((QT_VERSION >= QT_VERSION_CHECK(6, 4, 0) && QT_VERSION < QT_VERSION_CHECK(6, 5, 0))                            \
        || (QT_VERSION >= QT_VERSION_CHECK(6, 8, 0) && QT_VERSION < QT_VERSION_CHECK(6, 9, 0)))
#define STBANALYTICS_FAST_QT 1
#else
#define STBANALYTICS_FAST_QT 0
#endif

namespace analytics::qtinternals {

#if STBANALYTICS_FAST_QT

/// Reads a variant in place. The public functions of QVariant and QMetaType are calls into Qt, four for each value, and
/// cost as much as the rest of the encoding.
class VariantReader
{
public:
    explicit VariantReader(QVariant const &value)
        : m_held(value.data_ptr())
    {
    }

    /// Whether the value is null without a look at it. False for a pointer that is null, which QVariant::isNull()
    /// finds.
    bool isFlaggedNull() const { return m_held.is_null; }

    /// The id of the type. Only for a value that is not flagged as null: an invalid variant has no type.
    int typeId() const { return m_held.typeInterface()->typeId.loadRelaxed(); }

    QMetaType type() const { return m_held.type(); }
    void const *data() const { return m_held.storage(); }

private:
    QVariant::DataPtr const &m_held;
};

/// A registered type, kept by its id. No pointer into a plug-in is kept, which may be unloaded later. QMetaType takes a
/// pointer to a type's interface, so this is an interface with an id and nothing else. Qt's functions that convert, or
/// look up a converter, read only the id of the type that they convert to.
class TypeById
{
public:
    int id() const { return m_interface.typeId.loadRelaxed(); }
    void setId(int id) { m_interface.typeId.storeRelaxed(id); }

    /// Only for QMetaType::canConvert(), convert() and hasRegisteredConverterFunction(), and to be compared.
    QMetaType type() const { return QMetaType(&m_interface); }

private:
    QtPrivate::QMetaTypeInterface m_interface = {};
};

/// Notices that a type has been registered with Qt. Qt gives a new type the lowest free id. As long as the id that was
/// the lowest free one stays free, no type has been registered, unless a type has also been unregistered since.
class RegistrationWatch
{
public:
    /// The lowest free id. To be read before the types are looked up: a type that is registered meanwhile takes this id
    /// and fires the watch.
    static int lowestFreeId()
    {
        int id = firstId;
        while (QMetaType::isRegistered(id))
            ++id;
        return id;
    }

    /// Arms the watch. A thread that sees that the watch has not fired also sees all writes before this call.
    void arm(int lowestFreeId) { m_lowestFreeId.store(lowestFreeId, std::memory_order_release); }

    /// Whether a type may have been registered since the watch was armed.
    bool hasFired() const { return QMetaType::isRegistered(m_lowestFreeId.load(std::memory_order_acquire)); }

private:
    static constexpr int firstId = QMetaType::User + 1;

    std::atomic<int> m_lowestFreeId{firstId};
};

#else

class VariantReader
{
public:
    explicit VariantReader(QVariant const &value)
        : m_value(value)
    {
    }

    bool isFlaggedNull() const { return m_value.isNull(); }
    int typeId() const { return m_value.typeId(); }
    QMetaType type() const { return m_value.metaType(); }
    void const *data() const { return m_value.constData(); }

private:
    QVariant const &m_value;
};

class TypeById
{
public:
    int id() const { return m_id.load(std::memory_order_relaxed); }
    void setId(int id) { m_id.store(id, std::memory_order_relaxed); }

    QMetaType type() const
    {
        int const registered = id();
        return QMetaType::isRegistered(registered) ? QMetaType(registered) : QMetaType(); // Qt warns of a free id.
    }

private:
    std::atomic<int> m_id{0};
};

/// Qt has no public notification: any type may have been registered at any time.
class RegistrationWatch
{
public:
    static int lowestFreeId() { return 0; }
    void arm(int) { }
    bool hasFired() const { return true; }
};

#endif

} // namespace analytics::qtinternals
