#include "random/randomevents.h"
#include "reference/referenceserializer.h"

#include <analytics/jsoneventserializer.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QHashFunctions>
#include <QtCore/QJsonValue>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/**
 * @file
 * @brief The library's encoder against the reference, over an event, its values and the converters that the input
 * draws; and the event through another parser, as a receiver would read it.
 */

using namespace analytics;

namespace {

[[noreturn]] void fail(QByteArray const &what)
{
    std::fprintf(stderr, "%s\n", what.constData());
    std::abort();
}

void prepare()
{
    QHashSeed::setDeterministicGlobalSeed(); // An input does the same each time.
    static int argc = 1;
    static char name[] = "fuzz_values";
    static char *argv[] = {name, nullptr};
    static QCoreApplication const application(argc, argv); // Some values point to it.
    recordKindsInUse = allRecordKinds;
    listConverters();
    keepLines();
}

void drawConverters(Random &random)
{
    int const kind = random.below(4);
    quint64 chance = 0;
    for (std::size_t i = 0; i < converters.size(); ++i) {
        if (kind == 3 && i % 64 == 0)
            chance = random.bits();
        setRegistered(converters[i],
                      kind == 3 ? (chance >> i % 64 & 1) != 0
                                : kind == 2 || (kind == 1 && !converters[i].isForRecords));
    }
}

/// A provider's own JSON may hold a number that JSON has no form for: it is a number until it is written, as null.
bool isWrittenAsNull(QVariant const &value)
{
    QJsonValue const json = value.toJsonValue();
    return value.typeId() == QMetaType::QJsonValue && json.isDouble() && !std::isfinite(json.toDouble());
}

/// What must hold for an event whatever its values are.
class Receiver : public nlohmann::json_sax<nlohmann::json>
{
public:
    explicit Receiver(qsizetype nullsAllowed)
        : m_nullsAllowed(nullsAllowed)
    {
    }

    std::string fault;

    bool null() override { return value() && (!isMember() || m_nullsAllowed-- > 0 || refuse("a member is null")); }
    bool boolean(bool) override { return value(); }
    bool number_integer(number_integer_t) override { return value(); }
    bool number_unsigned(number_unsigned_t) override { return value(); }
    bool number_float(number_float_t, string_t const &) override { return value(); }
    bool string(string_t &text) override
    {
        return value() && (!isMember() || !text.empty() || refuse("a member is an empty string"));
    }
    bool binary(binary_t &) override { return refuse("bytes"); }

    bool start_object(std::size_t) override { return open(); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return m_open.empty() ? refuse("a list instead of an object") : open(); }
    bool end_array() override { return close(); }

    bool key(string_t &key) override { return m_open.back().keys.insert(key).second || refuse("a key comes twice"); }
    bool parse_error(std::size_t, std::string const &, nlohmann::detail::exception const &error) override
    {
        return refuse(error.what());
    }

private:
    struct Container
    {
        std::set<std::string> keys;
        bool isEmpty = true;
    };

    /// Of the event itself, not of something inside.
    bool isMember() const { return m_open.size() == 1; }

    bool value()
    {
        if (m_open.empty())
            return refuse("a plain value instead of an object");
        m_open.back().isEmpty = false;
        return true;
    }

    bool open()
    {
        if (!m_open.empty())
            m_open.back().isEmpty = false;
        m_open.emplace_back();
        return true;
    }

    bool close()
    {
        bool const isEmpty = m_open.back().isEmpty;
        m_open.pop_back();
        return !isEmpty || !isMember() || refuse("a member is empty");
    }

    bool refuse(std::string const &why)
    {
        fault = why;
        return false;
    }

    qsizetype m_nullsAllowed;
    std::vector<Container> m_open; ///< The innermost last.
};

/// A surrogate that stands alone comes as an escape, as Qt writes it, which a strict parser refuses. Here it becomes
/// the six characters of the escape, and so that no other text becomes the same, each backslash in a text becomes two.
std::string withSurrogatesAsText(std::string_view json)
{
    std::string result;
    for (std::size_t i = 0; i < json.size(); ++i) {
        result += json[i];
        if (json[i] != '\\')
            continue;
        std::string_view const escape = json.substr(i + 1, 3);
        if (escape.substr(0, 1) == "\\") {
            result += "\\\\\\";
            ++i;
        } else if (escape >= "ud8" && escape <= "udf") {
            result += '\\';
        }
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uchar const *bytes, std::size_t size)
{
    [[maybe_unused]] static bool const isPrepared = (prepare(), true);

    Random random(bytes, size);
    drawConverters(random);
    Event event(random);
    JsonEventSerializer const library;
    ReferenceSerializer const referenceSerializer;

    Outcome reference;
    if (event.isReferenceFirst())
        reference = event.serializedBy(referenceSerializer);
    Outcome const outcome = event.serializedBy(library);
    if (!event.isReferenceFirst())
        reference = event.serializedBy(referenceSerializer);

    QByteArray const difference = differenceOf(outcome, reference);
    if (!difference.isEmpty())
        fail("type " + QByteArray::number(static_cast<int>(event.type())) + difference);

    QList<QByteArray> const events = {outcome.bytes, QByteArray(), outcome.bytes};
    if (library.pack(events) != referenceSerializer.pack(events))
        fail("packages differ: " + differenceOf(library.pack(events), referenceSerializer.pack(events)));

    if (!outcome.bytes.isEmpty()) {
        Receiver receiver(std::count_if(event.values().begin(), event.values().end(), isWrittenAsNull));
        if (!nlohmann::json::sax_parse(withSurrogatesAsText(outcome.bytes.toStdString()), &receiver))
            fail(receiver.fault.c_str() + (": " + outcome.bytes));
    }
    return 0;
}
