// Whether a rewrite would lose bytes of a file: those the DOM reader cannot
// decode in the encoding it reads the file in.
#ifndef POMAINT_UNDECODABLE_H
#define POMAINT_UNDECODABLE_H

#include <QByteArray>
#include <QString>

// The first byte of `data` that the DOM reader cannot decode in the encoding
// it reads the document in (from a byte order mark or the XML declaration,
// UTF-8 otherwise); it reads such a byte as U+FFFD, so a rewrite would lose it.
struct undecodable_t {
    int line = 0; // 1-based; 0 when every byte decodes
    unsigned char byte = 0;
    QString encoding; // the encoding the document is read in
    bool declared = false;
};
undecodable_t firstUndecodable(QByteArray const& data);

#endif
