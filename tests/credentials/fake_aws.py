# Loopback stand-ins for what hands out AWS credentials, with botocore as the reference.
#
#   fake_aws.py serve            serves on 127.0.0.1 (free port, printed first) until killed:
#     STS       POST form Action=AssumeRole (signed) / AssumeRoleWithWebIdentity; a RoleArn that
#               contains "denied" is refused with AccessDenied.
#     IMDSv2    PUT /latest/api/token, GET /latest/meta-data/iam/security-credentials/[role];
#               under /imds-<status>/ an IMDSv1-only service that refuses the PUT with <status>
#     container GET /container/<token>[?ttl=S]: the Authorization header must equal <token>
#               ("open": none needed); with ttl, fresh credentials per fetch, valid S seconds.
#     Kinesis   POST with X-Amz-Target: every request is re-signed with botocore for the
#               credentials issued here (or registered with RxkExpect) and counted good or bad
#               (signature, token, expired); RxkStats answers the counts and the last request.
#   fake_aws.py resolve PROFILE  prints botocore's frozen credentials for PROFILE ("" = default)
#                                as JSON, for the environment and files as they are.
import datetime, hashlib, json, os, re, sys, threading, time, urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from unittest import mock

import botocore.auth, botocore.session
from botocore.awsrequest import AWSRequest
from botocore.credentials import Credentials

IMDS_TOKEN = "imds-session-token"
STS_FIELDS = "<AccessKeyId>{key}</AccessKeyId><SecretAccessKey>{secret}</SecretAccessKey><SessionToken>{token}</SessionToken><Expiration>{expiration}</Expiration>"

lock = threading.Lock()
issued = {}  # key -> (secret, token, expiry epoch or None)
stats = {"fetches": 0, "good": 0, "bad": 0, "last": {}}


def issue(seed, ttl=3600):
    # Credentials that depend on `seed` only, so botocore and the library get the same ones.
    digest = hashlib.sha256(seed.encode()).hexdigest()
    key, secret, token = "ASIA" + digest[:16].upper(), "sec/" + digest[16:40], "tok+" + digest[40:]
    expiry = time.time() + ttl
    with lock:
        issued[key] = (secret, token, expiry)
        stats["fetches"] += 1
    expiration = datetime.datetime.fromtimestamp(expiry, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    return {"key": key, "secret": secret, "token": token, "expiration": expiration}


def as_json(c):
    return json.dumps({"Code": "Success", "AccessKeyId": c["key"], "SecretAccessKey": c["secret"], "Token": c["token"], "Expiration": c["expiration"]})


class Handler(BaseHTTPRequestHandler):
    def log_message(self, *args): pass

    def answer(self, status, body):
        data = body.encode()
        self.send_response(status)
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    def do_PUT(self):  # IMDSv2 session token; under /imds-<status>/ the PUT is refused with that status
        refused = re.match(r"/imds-(\d+)/", self.path)
        if refused:
            return self.answer(int(refused.group(1)), "")
        ok = self.path == "/latest/api/token" and self.headers.get("X-aws-ec2-metadata-token-ttl-seconds")
        self.answer(200 if ok else 400, IMDS_TOKEN if ok else "")

    def do_GET(self):
        url = urllib.parse.urlparse(self.path)
        v1_only = re.match(r"/imds-\d+(/.*)", url.path)  # IMDSv1: no token asked
        if v1_only:
            url = url._replace(path=v1_only.group(1))
        if url.path.startswith("/latest/meta-data/iam/security-credentials/"):
            if not v1_only and self.headers.get("X-aws-ec2-metadata-token") != IMDS_TOKEN:
                return self.answer(401, "")
            role = url.path.rsplit("/", 1)[1]
            return self.answer(200, as_json(issue("imds")) if role else "role-imds")
        if url.path.startswith("/container/"):
            expected = url.path.split("/")[2]
            if expected != "open" and self.headers.get("Authorization") != expected:
                return self.answer(401, "{}")
            ttl = urllib.parse.parse_qs(url.query).get("ttl")
            return self.answer(200, as_json(issue("container" + str(time.time()), int(ttl[0])) if ttl else issue("container")))
        self.answer(404, "{}")

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        target = self.headers.get("X-Amz-Target", "")
        with lock:
            if target.endswith(".RxkStats"):
                return self.answer(200, json.dumps(stats))
            if target.endswith(".RxkExpect"):
                c = json.loads(body)
                issued[c["key"]] = (c["secret"], c["token"], None)
                return self.answer(200, "{}")
        if target:
            return self.kinesis(body)
        self.sts(urllib.parse.parse_qs(body.decode()))

    def sts(self, form):
        action, role = form["Action"][0], form["RoleArn"][0]
        if "denied" in role:
            error = "<ErrorResponse><Error><Code>AccessDenied</Code><Message>not authorized to assume {}</Message></Error></ErrorResponse>"
            return self.answer(403, error.format(role))
        if action == "AssumeRole":
            source = re.search(r"Credential=([^/]+)/", self.headers.get("Authorization", ""))
            seed = role + "|" + (source.group(1) if source else "unsigned")
        else:
            seed = role + "|" + form["WebIdentityToken"][0]
        body = "<{0}Response><{0}Result><Credentials>{1}</Credentials></{0}Result></{0}Response>"
        self.answer(200, body.format(action, STS_FIELDS.format(**issue(seed))))

    def kinesis(self, body):
        auth = self.headers.get("Authorization", "")
        found = re.search(r"Credential=([^/]+)/\d{8}/([^/]+)/", auth)
        key = found.group(1) if found else ""
        with lock:
            secret, token, expiry = issued.get(key, ("", "", None))
        request = AWSRequest(method="POST", url="http://" + self.headers["Host"] + "/", data=body)
        for name, value in self.headers.items():
            if name.lower() not in ("authorization", "x-amz-date", "x-amz-security-token"):
                request.headers[name] = value
        when = datetime.datetime.strptime(self.headers.get("X-Amz-Date", "19700101T000000Z"), "%Y%m%dT%H%M%SZ")
        with mock.patch.object(botocore.auth, "get_current_datetime", return_value=when):
            botocore.auth.SigV4Auth(Credentials(key, secret, token or None), "kinesis", found.group(2) if found else "").add_auth(request)
        signed = found is not None and request.headers.get("Authorization") == auth
        fresh = expiry is None or expiry > time.time()
        good = signed and fresh and self.headers.get("X-Amz-Security-Token", "") == token
        with lock:
            stats["good" if good else "bad"] += 1
            stats["last"] = {"key": key, "token": self.headers.get("X-Amz-Security-Token", ""), "signed": signed, "fresh": fresh, "region": found.group(2) if found else ""}
        self.answer(200, json.dumps({"StreamNames": ["s1"], "HasMoreStreams": False})) if good else self.answer(400, '{"__type": "InvalidSignatureException"}')


def main():
    if sys.argv[1] == "resolve":
        c = botocore.session.Session(profile=sys.argv[2] or None).get_credentials().get_frozen_credentials()
        print(json.dumps({"key": c.access_key, "secret": c.secret_key, "token": c.token or ""}))
        return
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    print(server.server_address[1], os.getpid(), flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
