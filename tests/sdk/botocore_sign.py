"""Signs a recorded Kinesis request with botocore's SigV4 signer and prints the Authorization
header, so that the C++ signer can be compared with an independent implementation.

Usage: botocore_sign.py <request-file> <body-file>
The request file holds tab-separated lines: "K<TAB>key<TAB>value" for access_key, secret_key,
token, region, service, url and amz_date (YYYYMMDDTHHMMSSZ), and "H<TAB>name<TAB>value" for
each header to sign as sent.
"""
import datetime
import sys
from unittest import mock

import botocore.auth
from botocore.awsrequest import AWSRequest
from botocore.credentials import Credentials

# Headers the signer itself produces; botocore adds its own.
REPLACED_BY_SIGNER = {"authorization", "x-amz-date", "x-amz-security-token"}


def main():
    request_path, body_path = sys.argv[1], sys.argv[2]
    keys, headers = {}, []
    with open(request_path, encoding="utf-8", newline="\n") as description:
        for line in description.read().split("\n"):
            if not line:
                continue
            kind, name, value = line.split("\t", 2)
            if kind == "K":
                keys[name] = value
            elif name.lower() not in REPLACED_BY_SIGNER:
                headers.append((name, value))
    with open(body_path, "rb") as body_file:
        body = body_file.read()

    request = AWSRequest(method="POST", url=keys["url"], data=body)
    for name, value in headers:
        request.headers[name] = value
    credentials = Credentials(keys["access_key"], keys["secret_key"], keys.get("token") or None)
    signing_time = datetime.datetime.strptime(keys["amz_date"], "%Y%m%dT%H%M%SZ")
    with mock.patch.object(botocore.auth, "get_current_datetime", return_value=signing_time):
        botocore.auth.SigV4Auth(credentials, keys["service"], keys["region"]).add_auth(request)
    print(request.headers["Authorization"])


if __name__ == "__main__":
    main()
