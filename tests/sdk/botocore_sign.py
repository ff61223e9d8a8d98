# Signs the last recorded request of one operation at a fault endpoint with botocore's SigV4
# signer and prints the Authorization header, an independent reference for the C++ signer.
# Usage: botocore_sign.py <endpoint> <operation> <access_key> <secret_key> <token> <region>
import datetime
import json
import sys
import urllib.request
from unittest import mock

import botocore.auth
from botocore.awsrequest import AWSRequest
from botocore.credentials import Credentials

endpoint, operation, access_key, secret_key, token, region = sys.argv[1:7]
with urllib.request.urlopen(endpoint + "/_rxkfault/requests?operation=" + operation) as answer:
    sent = json.load(answer)[-1]
request = AWSRequest(method="POST", url=endpoint + "/", data=sent["body"].encode("utf-8"))
for name, value in sent["headers"].items():
    if name not in ("authorization", "x-amz-date", "x-amz-security-token"):  # the signer adds those itself
        request.headers[name] = value
signing_time = datetime.datetime.strptime(sent["headers"]["x-amz-date"], "%Y%m%dT%H%M%SZ")
with mock.patch.object(botocore.auth, "get_current_datetime", return_value=signing_time):
    credentials = Credentials(access_key, secret_key, token or None)
    botocore.auth.SigV4Auth(credentials, "kinesis", region).add_auth(request)
print(request.headers["Authorization"])
