// Any request target, read the way the house ad server reads one: decoding
// never grows the text, every parameter found is found again by name, the
// log's JSON text of what was decoded reads back as valid JSON, and what its
// consent signals withhold is gone at once, with nothing more to withhold.
#include "privacy/ConsentFilter.h"
#include "store/JsonLine.h"
#include "transport/UrlText.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view target(reinterpret_cast<const char *>(data), size);
    if (UrlText::decode(target).size() > target.size())
        std::abort();
    std::string line = "{";
    ConsentFilter::Parameters parameters;
    UrlText::forEachParameter(target, [&](const std::string &name, const std::string &value) {
        parameters.insert_or_assign(name, value);
        if (!UrlText::parameter(target, name))
            std::abort();
        if (line.size() > 1)
            line.push_back(',');
        JsonLine::appendString(line, name);
        line.push_back(':');
        JsonLine::appendString(line, value);
    });
    line.push_back('}');
    ConsentFilter filter(4242);
    for (const std::string &name : filter.withhold(parameters)) {
        if (parameters.contains(name))
            std::abort();
    }
    if (!filter.withhold(parameters).empty())
        std::abort();
    QJsonParseError error;
    QJsonDocument::fromJson(QByteArray::fromStdString(line), &error);
    if (error.error != QJsonParseError::NoError)
        std::abort();
    return 0;
}
