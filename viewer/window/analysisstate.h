#pragma once

#include <QJsonObject>

namespace quenlofar {

class AnalysisTabs;
class BookmarksView;
class Document;
class OverviewBar;

/// As a number where a reader of JSON can be expected to keep all its digits, otherwise as a text.
QJsonValue jsonNumber(quint64 number);

/// What the strict reading of `document` says of the current place: its packet, finding, what it points at and what
/// points there. Members of the place in what is dumped.
QJsonObject analysisOfPlace(const Document &document);
/// What the views of `tabs` show, by the name of the view.
QJsonObject analysisState(AnalysisTabs &tabs);
/// The bookmarks that `view` shows.
QJsonObject bookmarksState(BookmarksView &view);
/// What `overview` shows.
QJsonObject overviewState(const OverviewBar &overview);

} // namespace quenlofar
