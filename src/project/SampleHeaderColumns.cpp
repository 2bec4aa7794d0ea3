#include "SampleHeaderColumns.h"

namespace SampleHeaderColumns {

const QStringList& All() {
    static const QStringList columns{
        QStringLiteral("cruise"),
        QStringLiteral("ship"),
        QStringLiteral("filename"),
        QStringLiteral("profileid"),
        QStringLiteral("bottomdepth"),
        QStringLiteral("ctdrosettefilename"),
        QStringLiteral("latitude"),
        QStringLiteral("longitude"),
        QStringLiteral("firstimage"),
        QStringLiteral("volimage"),
        QStringLiteral("aa"),
        QStringLiteral("exp"),
        QStringLiteral("dn"),
        QStringLiteral("winddir"),
        QStringLiteral("windspeed"),
        QStringLiteral("seastate"),
        QStringLiteral("nebuloussness"),
        QStringLiteral("comment"),
        QStringLiteral("endimg"),
        QStringLiteral("yoyo"),
        QStringLiteral("stationid"),
        QStringLiteral("sampletype"),
        QStringLiteral("integrationtime"),
        QStringLiteral("argoid"),
        QStringLiteral("pixelsize"),
        QStringLiteral("sampledatetime"),
        QStringLiteral("constantdepth"),
    };
    return columns;
}

const QStringList& Later() {
    static const QStringList columns{
        QStringLiteral("sampletype"), QStringLiteral("integrationtime"), QStringLiteral("argoid"),
        QStringLiteral("pixelsize"),  QStringLiteral("sampledatetime"),  QStringLiteral("constantdepth"),
    };
    return columns;
}

const QStringList& Numeric() {
    static const QStringList columns{QStringLiteral("integrationtime"), QStringLiteral("constantdepth")};
    return columns;
}

} // namespace SampleHeaderColumns
