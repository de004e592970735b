#pragma once

#include "transport/Reply.h"

#include <QByteArray>
#include <QDateTime>
#include <QStringList>

#include <string_view>

// The script the ad library runs to turn an ad request into an ad URL. The
// template in the site directory is filled with the ad host and the units
// this server fills; its Last-Modified is the server's start, since that is
// when its content last changed.
class CoreScript
{
public:
    static constexpr std::string_view path = "/tiskos/sdk-core-v40.js";

    bool load(const QString &wwwDir, const QStringList &servedUnits, QString *error);
    // A script that throws as soon as it runs.
    void makeGarbage() { garbage_ = true; }

    Reply reply(const QByteArray &adBaseUrl, const QByteArray &ifModifiedSince) const;

private:
    QByteArray template_;
    QDateTime lastModified_;
    bool garbage_ = false;
};
