// The source marks of an answer: Claude writes [S3] where a fact comes from
// source 3. On screen each mark becomes a link, larder-cite://3, and the list
// under the answer shows the sources in the order they are first cited.
#pragma once

#include <QList>
#include <QString>

#include <optional>

// The link scheme of source marks.
inline constexpr char citationScheme[] = "larder-cite";

// "[S3]" becomes the Markdown link "[3](larder-cite://3)"; "[S]" and "[s3]"
// stay as they are.
QString withCitationLinks(const QString &answer);

// The numbers of the marks, each once, in order of first appearance.
QList<int> citedNumbers(const QString &answer);

// The source number of a larder-cite link as the answer's text holds it;
// none for any other link. (Taken from the text: a URL object would read
// the number as an IPv4 address.)
std::optional<int> citationNumber(const QString &link);
