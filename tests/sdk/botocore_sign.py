# Signs a recorded Kinesis request with botocore's SigV4 signer and prints the Authorization
# header, an independent reference for the C++ signer.
# Usage: botocore_sign.py <request-file> <body-file>; the request file holds tab-separated lines
# "K<TAB>key<TAB>value" (access_key, secret_key, token, region, service, url, amz_date) and
# "H<TAB>name<TAB>value" for each header as sent.
import datetime
import sys
from unittest import mock

import botocore.auth
from botocore.awsrequest import AWSRequest
from botocore.credentials import Credentials

keys, headers = {}, []
with open(sys.argv[1], encoding="utf-8", newline="\n") as description:
    for line in filter(None, description.read().split("\n")):
        kind, name, value = line.split("\t", 2)
        if kind == "K":
            keys[name] = value
        elif name.lower() not in ("authorization", "x-amz-date", "x-amz-security-token"):
            headers.append((name, value))  # the signer adds those three itself
with open(sys.argv[2], "rb") as body:
    request = AWSRequest(method="POST", url=keys["url"], data=body.read())
for name, value in headers:
    request.headers[name] = value
signing_time = datetime.datetime.strptime(keys["amz_date"], "%Y%m%dT%H%M%SZ")
with mock.patch.object(botocore.auth, "get_current_datetime", return_value=signing_time):
    credentials = Credentials(keys["access_key"], keys["secret_key"], keys.get("token") or None)
    botocore.auth.SigV4Auth(credentials, keys["service"], keys["region"]).add_auth(request)
print(request.headers["Authorization"])
