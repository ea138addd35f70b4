#pragma once

#include <QDesktopServices>
#include <QList>
#include <QObject>
#include <QUrl>

namespace slidebox::testing {

/// Takes the place of the desktop for one URL scheme while it lives and
/// keeps the URLs that the application asked to open.
class UrlRecorder : public QObject {
    Q_OBJECT
  public:
    explicit UrlRecorder(const QString& scheme) : scheme_(scheme) {
        QDesktopServices::setUrlHandler(scheme_, this, "open");
    }
    ~UrlRecorder() override { QDesktopServices::unsetUrlHandler(scheme_); }

    QList<QUrl> urls;

  public slots:
    void open(const QUrl& url) { urls.append(url); }

  private:
    QString scheme_;
};

} // namespace slidebox::testing
