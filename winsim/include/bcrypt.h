// CNG as the helper uses it: SHA-256, RSASSA-PSS verification, random bytes.
#pragma once

#include <windows.h>

using BCRYPT_HANDLE = void*;
using BCRYPT_ALG_HANDLE = void*;
using BCRYPT_KEY_HANDLE = void*;
using BCRYPT_HASH_HANDLE = void*;

#define BCRYPT_SHA256_ALGORITHM L"SHA256"
#define BCRYPT_RSA_ALGORITHM L"RSA"
#define BCRYPT_OBJECT_LENGTH L"ObjectLength"
#define BCRYPT_RSAPUBLIC_BLOB L"RSAPUBLICBLOB"
#define BCRYPT_RSAPUBLIC_MAGIC 0x31415352U
#define BCRYPT_PAD_PSS 8U
#define BCRYPT_USE_SYSTEM_PREFERRED_RNG 2U

struct BCRYPT_RSAKEY_BLOB {
    ULONG Magic;
    ULONG BitLength;
    ULONG cbPublicExp;
    ULONG cbModulus;
    ULONG cbPrime1;
    ULONG cbPrime2;
};

struct BCRYPT_PSS_PADDING_INFO {
    LPCWSTR pszAlgId;
    ULONG cbSalt;
};

NTSTATUS WINAPI BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* provider, LPCWSTR algorithm, LPCWSTR implementation,
                                            ULONG flags);
NTSTATUS WINAPI BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE provider, ULONG flags);
NTSTATUS WINAPI BCryptGetProperty(BCRYPT_HANDLE object, LPCWSTR property, PUCHAR output, ULONG output_size,
                                  ULONG* result, ULONG flags);
NTSTATUS WINAPI BCryptCreateHash(BCRYPT_ALG_HANDLE provider, BCRYPT_HASH_HANDLE* hash, PUCHAR object, ULONG object_size,
                                 PUCHAR secret, ULONG secret_size, ULONG flags);
NTSTATUS WINAPI BCryptHashData(BCRYPT_HASH_HANDLE hash, PUCHAR data, ULONG size, ULONG flags);
NTSTATUS WINAPI BCryptFinishHash(BCRYPT_HASH_HANDLE hash, PUCHAR output, ULONG size, ULONG flags);
NTSTATUS WINAPI BCryptDestroyHash(BCRYPT_HASH_HANDLE hash);
NTSTATUS WINAPI BCryptImportKeyPair(BCRYPT_ALG_HANDLE provider, BCRYPT_KEY_HANDLE import_key, LPCWSTR blob_type,
                                    BCRYPT_KEY_HANDLE* key, PUCHAR blob, ULONG size, ULONG flags);
NTSTATUS WINAPI BCryptVerifySignature(BCRYPT_KEY_HANDLE key, void* padding, PUCHAR digest, ULONG digest_size,
                                      PUCHAR signature, ULONG signature_size, ULONG flags);
NTSTATUS WINAPI BCryptDestroyKey(BCRYPT_KEY_HANDLE key);
NTSTATUS WINAPI BCryptGenRandom(BCRYPT_ALG_HANDLE provider, PUCHAR buffer, ULONG size, ULONG flags);
