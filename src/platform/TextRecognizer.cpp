#include "platform/TextRecognizer.h"

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <memory>

namespace {

// The thread's engine, or null when the English model can't be loaded.
tesseract::TessBaseAPI *engine()
{
    thread_local std::unique_ptr<tesseract::TessBaseAPI> api;
    thread_local bool tried = false;
    if (!tried) {
        tried = true;
        auto candidate = std::make_unique<tesseract::TessBaseAPI>();
        if (candidate->Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) == 0) {
            candidate->SetVariable("debug_file", "/dev/null");
            api = std::move(candidate);
        }
    }
    return api.get();
}

} // namespace

QString TextRecognizer::recognize(const QImage &image, RecognitionLevel level, int dotsPerInch)
{
    if (image.isNull())
        return {};
    tesseract::TessBaseAPI *api = engine();
    if (!api)
        return {};

    QImage gray = image.convertToFormat(QImage::Format_Grayscale8);
    const int longest = std::max(gray.width(), gray.height());
    if (level == RecognitionLevel::fast && longest > fastLongestSide) {
        dotsPerInch = std::max(1, dotsPerInch * fastLongestSide / longest);
        gray = gray.scaled(gray.size().scaled(fastLongestSide, fastLongestSide, Qt::KeepAspectRatio),
                           Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }

    api->SetPageSegMode(tesseract::PSM_AUTO);
    api->SetImage(gray.constBits(), gray.width(), gray.height(), 1, int(gray.bytesPerLine()));
    api->SetSourceResolution(dotsPerInch);
    QStringList lines;
    if (api->Recognize(nullptr) == 0) {
        std::unique_ptr<tesseract::ResultIterator> it(api->GetIterator());
        if (it) {
            do {
                if (it->Confidence(tesseract::RIL_TEXTLINE) <= lineConfidenceThreshold)
                    continue;
                const std::unique_ptr<char[]> text(it->GetUTF8Text(tesseract::RIL_TEXTLINE));
                const QString line = text ? QString::fromUtf8(text.get()).trimmed() : QString();
                if (!line.isEmpty())
                    lines << line;
            } while (it->Next(tesseract::RIL_TEXTLINE));
        }
    }
    api->Clear();
    return lines.join(u'\n');
}
