#include "screens/Symbols.h"

#include <QFont>
#include <QFontDatabase>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QHash>

namespace {

const QHash<QString, QString> &table()
{
    static const QHash<QString, QString> glyphs = {
        // Sidebar and kinds
        {QStringLiteral("house.fill"), QStringLiteral("home")},
        {QStringLiteral("house"), QStringLiteral("home")},
        {QStringLiteral("magnifyingglass"), QStringLiteral("search")},
        {QStringLiteral("sparkles"), QStringLiteral("auto_awesome")},
        {QStringLiteral("sparkle"), QStringLiteral("auto_awesome")},
        {QStringLiteral("sparkle.magnifyingglass"), QStringLiteral("manage_search")},
        {QStringLiteral("clock.fill"), QStringLiteral("schedule")},
        {QStringLiteral("externaldrive.fill"), QStringLiteral("storage")},
        {QStringLiteral("camera.viewfinder"), QStringLiteral("screenshot")},
        {QStringLiteral("arrow.down.circle.fill"), QStringLiteral("download_for_offline")},
        {QStringLiteral("arrow.down.circle"), QStringLiteral("download")},
        {QStringLiteral("square.on.square.fill"), QStringLiteral("filter_none")},
        {QStringLiteral("square.on.square"), QStringLiteral("filter_none")},
        {QStringLiteral("wand.and.sparkles"), QStringLiteral("auto_fix_high")},
        {QStringLiteral("waveform"), QStringLiteral("graphic_eq")},
        {QStringLiteral("waveform.circle.fill"), QStringLiteral("graphic_eq")},
        {QStringLiteral("folder.fill"), QStringLiteral("folder")},
        {QStringLiteral("photo.fill"), QStringLiteral("image")},
        {QStringLiteral("photo"), QStringLiteral("image")},
        {QStringLiteral("play.rectangle.fill"), QStringLiteral("movie")},
        {QStringLiteral("music.note"), QStringLiteral("music_note")},
        {QStringLiteral("doc.text.fill"), QStringLiteral("description")},
        {QStringLiteral("archivebox.fill"), QStringLiteral("inventory_2")},
        {QStringLiteral("app.badge.fill"), QStringLiteral("apps")},
        {QStringLiteral("doc.fill"), QStringLiteral("insert_drive_file")},
        // Commands and shared components
        {QStringLiteral("checkmark.circle.fill"), QStringLiteral("check_circle")},
        {QStringLiteral("checkmark.square.fill"), QStringLiteral("check_box")},
        {QStringLiteral("square"), QStringLiteral("check_box_outline_blank")},
        {QStringLiteral("minus.square.fill"), QStringLiteral("indeterminate_check_box")},
        {QStringLiteral("shippingbox"), QStringLiteral("inventory")},
        {QStringLiteral("film.stack"), QStringLiteral("video_library")},
        {QStringLiteral("square.grid.3x3"), QStringLiteral("apps")},
        {QStringLiteral("checkmark.seal.fill"), QStringLiteral("verified")},
        {QStringLiteral("checkmark.seal"), QStringLiteral("verified")},
        {QStringLiteral("xmark"), QStringLiteral("close")},
        {QStringLiteral("xmark.circle.fill"), QStringLiteral("cancel")},
        {QStringLiteral("exclamationmark.triangle.fill"), QStringLiteral("warning")},
        {QStringLiteral("square.grid.2x2"), QStringLiteral("grid_view")},
        {QStringLiteral("list.bullet"), QStringLiteral("view_list")},
        {QStringLiteral("sidebar.trailing"), QStringLiteral("vertical_split")},
        {QStringLiteral("trash"), QStringLiteral("delete")},
        {QStringLiteral("doc.on.doc"), QStringLiteral("content_copy")},
        {QStringLiteral("folder"), QStringLiteral("folder_open")},
        {QStringLiteral("arrow.up.right"), QStringLiteral("open_in_new")},
        {QStringLiteral("arrow.down.right"), QStringLiteral("south_east")},
        {QStringLiteral("doc"), QStringLiteral("description")},
        {QStringLiteral("calendar"), QStringLiteral("event")},
        {QStringLiteral("film.stack"), QStringLiteral("video_library")},
        {QStringLiteral("square.grid.3x3"), QStringLiteral("apps")},
        {QStringLiteral("chevron.left"), QStringLiteral("chevron_left")},
        {QStringLiteral("chevron.right"), QStringLiteral("chevron_right")},
        {QStringLiteral("chevron.down"), QStringLiteral("expand_more")},
        {QStringLiteral("arrow.clockwise"), QStringLiteral("refresh")},
        {QStringLiteral("arrow.up.arrow.down"), QStringLiteral("sort")},
        {QStringLiteral("pin"), QStringLiteral("push_pin")},
        {QStringLiteral("globe"), QStringLiteral("public")},
        {QStringLiteral("record.circle"), QStringLiteral("fiber_manual_record")},
        {QStringLiteral("stop.fill"), QStringLiteral("stop")},
        {QStringLiteral("square.and.pencil"), QStringLiteral("edit_note")},
        {QStringLiteral("square.and.arrow.down"), QStringLiteral("save_alt")},
        {QStringLiteral("ellipsis"), QStringLiteral("more_horiz")},
        {QStringLiteral("pencil.line"), QStringLiteral("edit")},
        {QStringLiteral("lightbulb"), QStringLiteral("lightbulb")},
        {QStringLiteral("questionmark.bubble.fill"), QStringLiteral("live_help")},
        {QStringLiteral("doc.text"), QStringLiteral("article")},
        {QStringLiteral("circle"), QStringLiteral("radio_button_unchecked")},
        {QStringLiteral("key.fill"), QStringLiteral("vpn_key")},
        {QStringLiteral("lock.fill"), QStringLiteral("lock")},
        {QStringLiteral("gearshape"), QStringLiteral("settings")},
        {QStringLiteral("plus"), QStringLiteral("add")},
        {QStringLiteral("minus"), QStringLiteral("remove")},
        {QStringLiteral("xmark.octagon.fill"), QStringLiteral("report")},
        {QStringLiteral("gift.fill"), QStringLiteral("redeem")},
        {QStringLiteral("text.quote"), QStringLiteral("format_quote")},
        {QStringLiteral("line.3.horizontal.decrease"), QStringLiteral("filter_list")},
        {QStringLiteral("eye"), QStringLiteral("visibility")},
        {QStringLiteral("arrow.left"), QStringLiteral("arrow_back")},
        {QStringLiteral("arrow.right"), QStringLiteral("arrow_forward")},
        {QStringLiteral("arrow.up"), QStringLiteral("arrow_upward")},
        {QStringLiteral("square.and.pencil"), QStringLiteral("edit")},
        // The sources that files come from
        {QStringLiteral("envelope.fill"), QStringLiteral("mail")},
        {QStringLiteral("paperplane.fill"), QStringLiteral("send")},
        {QStringLiteral("video.fill"), QStringLiteral("videocam")},
        {QStringLiteral("icloud.fill"), QStringLiteral("cloud")},
        {QStringLiteral("shippingbox.fill"), QStringLiteral("inventory")},
        {QStringLiteral("shippingbox"), QStringLiteral("inventory")},
        {QStringLiteral("chevron.left.forwardslash.chevron.right"), QStringLiteral("code")},
        {QStringLiteral("person.2.fill"), QStringLiteral("group")},
        {QStringLiteral("bubble.left.and.text.bubble.right.fill"), QStringLiteral("chat")},
        {QStringLiteral("dot.radiowaves.left.and.right"), QStringLiteral("wifi_tethering")},
        {QStringLiteral("envelope.badge.fill"), QStringLiteral("mark_email_unread")},
        {QStringLiteral("envelope.open.fill"), QStringLiteral("drafts")},
        {QStringLiteral("gamecontroller.fill"), QStringLiteral("sports_esports")},
        {QStringLiteral("message.fill"), QStringLiteral("message")},
        {QStringLiteral("paintpalette.fill"), QStringLiteral("palette")},
        {QStringLiteral("pencil.and.ruler.fill"), QStringLiteral("design_services")},
        {QStringLiteral("phone.bubble.fill"), QStringLiteral("phone_in_talk")},
        {QStringLiteral("square.text.square.fill"), QStringLiteral("article")},
        {QStringLiteral("number"), QStringLiteral("tag")},
        {QStringLiteral("at"), QStringLiteral("alternate_email")},
    };
    return glyphs;
}

} // namespace

Symbols::Symbols(QObject *parent)
    : QObject(parent)
{
}

bool Symbols::loadFont()
{
    if (QFontDatabase::families().contains(fontFamily()))
        return true;
    const int id = QFontDatabase::addApplicationFont(
        QStringLiteral("/usr/share/fonts/truetype/material-design-icons-iconfont/MaterialIcons-Regular.ttf"));
    return id >= 0;
}

QString Symbols::fontFamily()
{
    return QStringLiteral("Material Icons");
}

QString Symbols::glyph(const QString &symbol)
{
    return table().value(symbol, QStringLiteral("help_outline"));
}

bool Symbols::knows(const QString &symbol)
{
    return table().contains(symbol);
}

QStringList Symbols::names()
{
    return table().keys();
}

QIcon Symbols::icon(const QString &symbol, const QColor &background)
{
    QIcon icon;
    for (int side : {16, 22, 24, 32, 48, 64, 128, 256}) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath square;
        square.addRoundedRect(QRectF(0, 0, side, side), side * 0.22, side * 0.22);
        painter.fillPath(square, background);
        QFont font(fontFamily());
        font.setPixelSize(int(side * 0.7));
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(QRect(0, 0, side, side), Qt::AlignCenter, glyph(symbol));
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}
