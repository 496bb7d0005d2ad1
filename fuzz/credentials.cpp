// Certificate and key, of a backup (DER, one behind the other) or the registrar (PEM).
#include "cloud/credentialstore.h"
#include "fuzz/fuzz.h"

void fuzz(const QByteArray &bytes)
{
    CredentialStore store;
    store.removeCredentials();
    if (bytes.startsWith('-')) {
        QString error;
        require(store.storeIssuedCredentials(bytes, bytes, error) == error.isEmpty());
    }
    // DER: a tag, a byte for a length of two bytes, the length.
    const int end = bytes.size() < 4 ? 0 : 4 + (uchar(bytes.at(2)) << 8 | uchar(bytes.at(3)));
    for (const QByteArray &der : {bytes.left(end), bytes.mid(end)}) {
        const bool isCertificate = CredentialStore::isCertificate(der);
        require(store.storeCertificateDer(der) == isCertificate);
        require(!isCertificate || CredentialStore::isCertificate(store.certificateDer()));
        const bool isKey = CredentialStore::isKey(der);
        require(store.storeKeyDer(der) == isKey);
        require(!isKey || CredentialStore::isKey(store.keyDer()));
    }
    store.fault();
    store.validity();
}
